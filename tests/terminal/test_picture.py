"""The picture in the README: the screen of a terminal on which the example shell really ran.

With TAVORIN_MAKE_PICTURE in the environment it is made; else it must be what it would be made."""

import html
import os

import pytest

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
PICTURE = os.path.join(ROOT, "docs", "shell.svg")

ROWS, COLUMNS = 10, 66
WIDTH, HEIGHT, MARGIN = 8.4, 18, 12     # of a character, in pixels, and around the screen

SCREEN = """\
device> show
  history          The lines that can be recalled here
  interfaces       The interfaces and their descriptions
device> show interfaces
  eth0     uplink
  eth1
device> terminal monitor
device> configure
eth1: link down
device> configure"""


@pytest.fixture
def shell(terminal):
    """A terminal at which a log message has come above a half-typed line."""
    shell = terminal(rows=ROWS, columns=COLUMNS)
    shell.do("sys.argv = ['shell.py', '2']")
    example = os.path.abspath(os.path.join(ROOT, "examples", "shell.py"))
    shell.ask("execfile(%r, {'__name__': '__main__'})" % example)
    shell.wait_for_cursor_row("device>")
    shell.type("show ?")
    shell.wait_for_row(3, "device> show")
    shell.type("int<tab>")
    shell.wait_for_cursor_row("device> show interfaces")
    shell.type("<enter>")
    shell.wait_for_row(6, "device>")
    shell.type("terminal monitor<enter>")
    shell.wait_for_row(7, "device>")
    shell.type("conf<tab>")
    shell.wait_for_row(9, "device> configure")
    return shell


def drawn(shell):
    """The screen as an SVG picture."""
    width, height = COLUMNS * WIDTH + 2 * MARGIN, ROWS * HEIGHT + 2 * MARGIN
    row, column = shell.cursor
    parts = ['<svg xmlns="http://www.w3.org/2000/svg" width="%g" height="%g" '
             'font-family="monospace" font-size="14">' % (width, height),
             '<rect width="100%" height="100%" rx="6" fill="#1d1f21"/>',
             '<rect x="%g" y="%g" width="%g" height="%g" fill="#c5c8c6"/>'
             % (MARGIN + column * WIDTH, MARGIN + row * HEIGHT + 2, WIDTH, HEIGHT - 2)]
    for number in range(ROWS):
        text = shell.row(number)
        parts.append('<text x="%d" y="%d" textLength="%g" xml:space="preserve" fill="#c5c8c6">'
                     '%s</text>' % (MARGIN, MARGIN + number * HEIGHT + 14, len(text) * WIDTH,
                                    html.escape(text)))
    return "\n".join(parts + ["</svg>", ""])


def test_the_picture_is_of_a_real_run(shell):
    assert "\n".join(shell.row(number) for number in range(ROWS)) == SCREEN
    picture = drawn(shell)
    if os.environ.get("TAVORIN_MAKE_PICTURE"):
        with open(PICTURE, "w") as file:
            file.write(picture)
    with open(PICTURE) as file:
        assert file.read() == picture
    shell.type("<ctrl-z>")
    shell.wait_for_cursor_row("device>")
    shell.type("exit<enter>")
    shell.outcome()
