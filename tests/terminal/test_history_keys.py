"""The history keys: which recorded lines a mode is offered, and in which order."""

import pytest

from harness import Returned

# A tree of three levels with two siblings on the last, and lines recorded all over it.
TREE = (("exec", ""), ("config", "exec"), ("if-1", "config"), ("if-2", "config"))
RECORDED = (
    ("show one", "exec"),
    ("router one", "config"),
    ("speed one", "if-1"),
    ("speed two", "if-2"),
    ("show two", "exec"),
    ("mtu one", "if-1"),
    ("router two", "config"),
)
# By mode, what it is offered: newest first, its own and its ancestors' lines.
OFFERED = {
    "exec": ["show two", "show one"],
    "config": ["router two", "show two", "router one", "show one"],
    "if-1": ["router two", "mtu one", "show two", "speed one", "router one", "show one"],
    "if-2": ["router two", "show two", "speed two", "router one", "show one"],
}


@pytest.fixture
def recorded(shell):
    """A shell with the tree and its lines."""
    parents = dict(TREE)
    for key, parent in TREE:
        shell.do("Tavorin.newHistoryMode(%r, %r)" % (key, parent))
    for line, key in RECORDED:
        assert shell.do("Tavorin.addHistory(%r, %r, %r)" % (line, key, parents[key])) is True
    return shell


def read(shell, mode=None, parent=None):
    arguments = ", ".join(repr(value) for value in (mode, parent) if value is not None)
    shell.ask("Tavorin.readline('> ', None%s)" % (arguments and ", " + arguments))
    shell.wait_for_prompt()


def leave(shell):
    """End the read with an empty line, whatever was recalled."""
    shell.type("<ctrl-u><enter>")
    assert shell.outcome() == Returned("")


@pytest.mark.parametrize("older,newer", [("<up>", "<down>"), ("<ctrl-p>", "<ctrl-n>")])
@pytest.mark.parametrize("mode", sorted(OFFERED))
def test_a_mode_is_offered_its_own_and_its_ancestors_lines(recorded, mode, older, newer):
    read(recorded, mode)
    for line in OFFERED[mode]:
        recorded.type(older)
        recorded.wait_for_cursor_row("> " + line)
    recorded.type(older)                            # there is none older
    for line in OFFERED[mode][-2::-1]:
        recorded.type(newer)
        recorded.wait_for_cursor_row("> " + line)
    recorded.type(newer)
    recorded.wait_for_cursor_row(">")
    leave(recorded)


@pytest.mark.parametrize("mode", sorted(OFFERED))
def test_a_recalled_line_is_returned(recorded, mode):
    for steps, line in enumerate(OFFERED[mode], 1):
        read(recorded, mode)
        recorded.type("<up>" * steps + "<enter>")
        assert recorded.outcome() == Returned(line)


def test_the_typed_line_comes_back_below_the_newest(recorded):
    read(recorded, "exec")
    recorded.type("half<up>")
    recorded.wait_for_cursor_row("> show two")
    recorded.type("<down>")
    recorded.wait_for_cursor_row("> half")
    recorded.type("<enter>")
    assert recorded.outcome() == Returned("half")


@pytest.mark.parametrize("mode", sorted(OFFERED))
def test_a_search_finds_only_what_the_mode_sees(recorded, mode):
    """Each search for "one" goes on to the next older line that holds it."""
    matches = [line for line in OFFERED[mode] if line.endswith("one")]
    for count, line in enumerate(matches, 1):
        read(recorded, mode)
        recorded.type("<ctrl-r>one" + "<ctrl-r>" * (count - 1))
        recorded.wait_for_screen(line)
        recorded.type("<enter>")
        assert recorded.outcome() == Returned(line)


def test_a_search_does_not_find_a_siblings_line(recorded):
    read(recorded, "if-2")
    recorded.type("<ctrl-r>mtu")
    recorded.wait_for_screen("mtu")
    recorded.type("<ctrl-g>")
    recorded.wait_for_cursor_row(">")
    leave(recorded)


@pytest.mark.parametrize("mode", sorted(OFFERED))
def test_a_prefix_search_finds_only_what_the_mode_sees(recorded, mode):
    for prefix in ("show", "router", "speed", "mtu"):
        for count, line in enumerate([l for l in OFFERED[mode] if l.startswith(prefix)], 1):
            read(recorded, mode)
            recorded.type(prefix + "<meta-p>" * count + "<enter>")
            assert recorded.outcome() == Returned(line)


def test_a_prefix_search_without_a_match_keeps_the_typed_line(recorded):
    read(recorded, "exec")
    recorded.type("speed<meta-p>!<enter>")
    assert recorded.outcome() == Returned("speed!")


def test_a_read_without_a_key_stays_in_the_latest_mode(recorded):
    read(recorded, "if-1")
    leave(recorded)
    read(recorded)
    recorded.type("<up><up><enter>")
    assert recorded.outcome() == Returned("mtu one")


def test_without_a_mode_every_line_is_offered(recorded):
    """A new key below an unknown parent selects no mode."""
    read(recorded, "new", "unknown")
    for line, _ in reversed(RECORDED):
        recorded.type("<up>")
        recorded.wait_for_cursor_row("> " + line)
    leave(recorded)
    assert recorded.do("Tavorin.addHistory('x', 'below', 'new')") is False


def test_a_key_makes_its_mode_below_the_given_parent(recorded):
    read(recorded, "if-3", "config")
    leave(recorded)
    recorded.do("Tavorin.addHistory('speed three', 'if-3', '')")
    read(recorded, "if-3")
    recorded.type("<up><up><enter>")
    assert recorded.outcome() == Returned("router two")


def test_readline_records_nothing(recorded):
    read(recorded, "exec")
    recorded.type("typed<enter>")
    assert recorded.outcome() == Returned("typed")
    assert "typed" not in recorded.do("Tavorin.history()")


def test_lines_recorded_between_two_reads_are_offered_first(recorded):
    read(recorded, "exec")
    leave(recorded)
    recorded.do("Tavorin.addHistory('newest', 'exec', '')")
    read(recorded, "exec")
    recorded.type("<up><enter>")
    assert recorded.outcome() == Returned("newest")


def test_a_cleared_history_offers_nothing(recorded):
    read(recorded, "exec")
    leave(recorded)
    recorded.do("Tavorin.clearHistory()")
    read(recorded, "exec")
    recorded.type("<up><up>typed<enter>")
    assert recorded.outcome() == Returned("typed")


@pytest.mark.parametrize("length", [1022, 1023, 1024, 1025, 5000, 100000])
def test_a_long_line_is_recalled_whole(shell, length):
    shell.do("line = ''.join(chr(97 + n %% 26) for n in range(%d))" % length)
    shell.do("Tavorin.addHistory(line, 'exec', '')")
    shell.ask("Tavorin.readline('> ', None, 'exec') == line")
    shell.wait_for_prompt()
    shell.type("<up><enter>")
    assert shell.outcome() == Returned(True)


@pytest.mark.parametrize("keys, line", [("<up>" * 900, "line 100"), ("<ctrl-r>oldest", "the oldest")],
                         ids=["up", "search"])
def test_a_line_far_back_is_recalled(shell, keys, line):
    shell.do("for number in range(1000):\n"
             "    Tavorin.addHistory('line %d' % number if number else 'the oldest', 'exec', '')\n")
    shell.begin_line("", "Tavorin.readline('> ', None, 'exec', '')")
    shell.type(keys + "<enter>")
    assert shell.outcome() == Returned(line)
