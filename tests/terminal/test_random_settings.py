"""Settings files made at random from the commands of editrc(5), right and wrong ones, and random keys
under each: the process lives, lines come back, Ctrl-C interrupts, no program is started, and the
terminal is given back as it was, unless the file itself has changed its settings (`setty`).

Each bout has a seed of its own, which a failure tells together with its file.  The seeds are always
the same ones; TAVORIN_SETTINGS_SEED and TAVORIN_SETTINGS_SECONDS choose others, from this seed on and
for as long.
"""

import collections
import os
import random
import signal
import time

from harness import Raised, Returned
from processes import session_members, waits_in_select, waits_in_write
from test_random_keys import CAUSES, CHILD, HISTORY, LOCALES, Typist, random_chunks

SEED = os.environ.get("TAVORIN_SETTINGS_SEED")
SECONDS = os.environ.get("TAVORIN_SETTINGS_SECONDS")

INTERRUPTED = Raised("KeyboardInterrupt", "Ctrl-C pressed")

# --- A file --------------------------------------------------------------------------------------

COMMANDS = """
ed-clear-screen ed-command ed-delete-next-char ed-delete-prev-char ed-delete-prev-word ed-digit
ed-argument-digit ed-end-of-file ed-ignore ed-insert ed-kill-line ed-move-to-beg ed-move-to-end
ed-newline ed-next-char ed-next-history ed-next-line ed-prev-char ed-prev-history ed-prev-line
ed-prev-word ed-quoted-insert ed-redisplay ed-search-next-history ed-search-prev-history
ed-sequence-lead-in ed-start-over ed-transpose-chars ed-unassigned em-capitol-case
em-copy-prev-word em-copy-region em-delete-next-word em-delete-or-list em-delete-prev-char
em-exchange-mark em-gosmacs-transpose em-inc-search-next em-inc-search-prev em-kill-line
em-kill-region em-lower-case em-meta-next em-next-word em-set-mark em-toggle-overwrite
em-universal-argument em-upper-case em-yank vi-add vi-add-at-eol vi-alias vi-change-case
vi-change-meta vi-change-to-eol vi-command-mode vi-comment-out vi-delete-meta vi-delete-prev-char
vi-end-big-word vi-end-word vi-histedit vi-history-word vi-insert vi-insert-at-bol
vi-kill-line-prev vi-list-or-eof vi-match vi-next-big-word vi-next-char vi-next-word vi-paste-next
vi-paste-prev vi-prev-big-word vi-prev-char vi-prev-word vi-redo vi-repeat-next-char
vi-repeat-prev-char vi-repeat-search-next vi-repeat-search-prev vi-replace-char vi-replace-mode
vi-search-next vi-search-prev vi-substitute-char vi-substitute-line vi-to-column
vi-to-history-line vi-to-next-char vi-to-prev-char vi-undo vi-undo-line vi-yank vi-yank-end vi-zero
rl_complete rl_tstp rl_digit_argument rl_prev_history rl_inc_search_prev rl_transpose_chars
no-such-command ?
""".split()

# Keys that type no text, in the forms that bind knows; and others.
KEYS = [r"^A", r"^B", r"^K", r"^P", r"^T", r"^U", r"^X", r"^Y", r"^Xa", r"^X^X", r"^X^Xq", r"^O", "^\\\\",
        r"^]", r"^^", r"^_", r"^@", r"^?", r"^H", r"^I", r"^L", r"^R", r"^W", r"^V", r"^G", r"^D", r"^N", r"^C",
        r"\a", r"\b", r"\e", r"\f", r"\t", r"\v", r"\001", r"\020", r"\033[A", r"\e[1;5D", r"\ex",
        r"\e\037", r"\e5", r"\e\e", r"^[p", r"^[[B", r"^[OC", r"^[[Z", r"'^Z'", r'"^E"', r"^X\e"]
TEXT_KEYS = [r"a", r"z", r"?", r"5", r"-", r"jj", r"abc", r"\^", r"\\", r"\101", r"'x'", r'" "', r"''", r"^M",
             r"^J", r"\n", r"\r", "\u00e9", "\u6f22", r"\377", r"\200", r"\U+e9", r"\U+6f22", r"^", "\\",
             r"M-x", r"^M^J", "\u00e9x", r"\400", r"\0"]
TEXTS = [r"show", r"'two words'", r"^A^K", r"\e[D", r"\r", r"text\n", r"\005\025", r"''", r"^Xa", r"\e5X",
         "\u00e4\u6f22", "x" * 300, r"\022show", r"^C", r"^D", r"\t", r'"?"', r"\e0", r"^V^V", r"^X^X^X",
         r"^A^B^K^P", r"x^Px^Nx"]
CAPABILITIES = """
al bl cd ce ch cl dc dl dm ed ei fs ho ic im ip kd kl kr ku md me nd se so ts up us ue vb DC DO IC LE
RI UP kh @7 kD pt km li co am xn MT xx
""".split()
VALUES = [r"''", r"0", r"1", r"80", r"-1", r"99999999999", r"yes", r"no", r"\E[%dX", r"%p1%d", r"%s%s%n", r"x",
          "x" * 500, r"\033[C", "\u00e9"]
MODES = """
ignbrk brkint ignpar parmrk inpck istrip inlcr igncr icrnl iuclc ixany ixon ixoff imaxbel opost olcuc
onlcr ocrnl onocr onlret ofill ofdel cread parenb hupcl clocal isig icanon xcase echo echoe echok echonl
noflsh tostop echoctl echoke flusho pendin iexten extproc nothing
""".split()
CHARACTERS = """
intr quit erase kill eof eol eol2 start stop werase susp reprint discard lnext min time brk nothing
""".split()
PREFIXES = [""] * 12 + ["OmbrelCli:", "Tavorin:", "*:", ".*:", "other:", ":", "[:", "Ombrel.*:", "a:b:"]


class File:
    """A settings file, and what the test must know of it."""

    def __init__(self, dice):
        self.dice = dice
        self.changes_terminal = False   # setty
        self.changes_text = False       # a letter or Enter may mean something else
        makers = [self.bind] * 12 + [self.echotc, self.edit, self.history, self.settc, self.settc,
                                     self.listing, self.nonsense, self.nonsense]
        # Most files leave Enter and the terminal alone, so that all promises hold for them.
        self.is_tame = dice.random() < 0.6
        if not self.is_tame:
            makers += [self.setty] * 3 + [self.broken] * 3
        lines = [dice.choice(makers)() for _ in range(dice.randint(0, 12))]
        self.text = dice.choice(["\n", "\n", "\n", "\r\n"]).join(lines + dice.choice([[""], []]))

    def command(self, name, *words):
        return " ".join([self.dice.choice(PREFIXES) + name] + list(words))

    def key(self):
        if not self.is_tame and self.dice.random() < 0.3:
            self.changes_text = True
            return self.quoted(self.dice.choice(TEXT_KEYS))
        return self.quoted(self.dice.choice(KEYS))

    def quoted(self, word):
        """A backslash outside of quotes is only a quote of the next character."""
        if "'" in word or '"' in word or "\\" not in word:
            return word
        if not self.is_tame and self.dice.random() < 0.1:
            self.changes_text = True
            return word
        return self.dice.choice(["'%s'", '"%s"']) % word

    def bind(self):
        choice = self.dice.random()
        options = self.dice.choice([[]] * 6 + [["-a"]] * 2)
        if choice < 0.25:
            return self.command("bind", self.dice.choice(["-v", "-v", "-v", "-e"]))
        if choice < 0.35:
            return self.command("bind", *options, "-s", self.key(), self.text_for_key())
        if choice < 0.40:
            return self.command("bind", *options, "-k", self.dice.choice(
                ["up", "down", "left", "right", "home", "end", "insert", "sideways"]),
                self.dice.choice(COMMANDS))
        if choice < 0.48:
            return self.command("bind", *options, "-r", self.key())
        if choice < 0.53:
            return self.command("bind", *options, self.dice.choice(["-l", "-lr", "-z", "--", "-av", "-"]))
        if choice < 0.58:
            return self.command("bind", *options, self.key())
        return self.command("bind", *options, self.key(), self.dice.choice(COMMANDS))

    def text_for_key(self):
        return self.quoted(self.dice.choice(TEXTS))

    def echotc(self):
        return self.command("echotc", *self.dice.choice([[], ["-s"], ["-v"], ["-sv"], ["-q"]]),
                            self.dice.choice(CAPABILITIES + ["baud", "cols", "lines", "rows", "meta", "tabs"]),
                            *[str(self.dice.randint(-2, 90)) for _ in range(self.dice.randint(0, 3))])

    def edit(self):
        return self.command("edit", self.dice.choice(["on", "on", "off", "maybe", ""]))

    def history(self):
        return self.command("history", *self.dice.choice(
            [["list"], ["size", "2"], ["size", "0"], ["size", "-1"], ["size", "x"], ["unique", "1"], ["unique", "0"],
             ["clear"], ["size"], [], ["load", "/dev/null"], ["save", "/dev/null"], ["nothing"]]))

    def settc(self):
        words = [self.dice.choice(CAPABILITIES), self.dice.choice(VALUES)]
        # What the terminal's keys send.
        self.changes_text |= words[0][0] in "k@"
        return self.command("settc", *words[:self.dice.choice([0, 1, 2, 2, 2, 2, 2])])

    def setty(self):
        self.changes_terminal = True
        words = self.dice.choices(["-a", "-d", "-q", "-x"], k=self.dice.randint(0, 2))
        for _ in range(self.dice.randint(0, 4)):
            if self.dice.random() < 0.6:
                words.append(self.dice.choice(["+", "-", ""]) + self.dice.choice(MODES))
            else:
                words.append(self.dice.choice(["", "", "+", "-"]) + self.dice.choice(CHARACTERS)
                             + self.dice.choice(["=^C", "=", "=x", "=^@", "=^?", "=\\0377", ""]))
        return self.command("setty", *words)

    def listing(self):
        return self.command(self.dice.choice(["telltc", "bind", "setty", "setty -a -d", "bind -a", "bind -l"]))

    def nonsense(self):
        return self.dice.choice(["", "   ", "# bind ^A ed-newline", "\t#", "nothing", "bind:", "telltc: x",
                                 "other:nothing", "\x0c", "bind 'unclosed", 'bind "^A', "bind ^A \\",
                                 "bind" + " x" * 400, "y" * 1200, "\udcff\udcfe", "bind ^A ed-insert # no",
                                 "bind '", "\\", "\"\" x", "''", "=", ":"])

    def broken(self):
        """A line with characters changed: nobody knows what it does."""
        self.changes_text = self.changes_terminal = True
        line = list(self.dice.choice([self.bind, self.settc, self.setty, self.echotc, self.history])())
        for _ in range(self.dice.randint(1, 4)):
            at = self.dice.randint(0, len(line))
            line[at:at + self.dice.randint(0, 2)] = self.dice.choice(
                ["'", '"', "\\", "^", " ", "\t", "-", "\x01", "\x1b", "\u00e9", "\udc80", "=", ":", "#", "\\U+"])
        return "".join(line)


# --- What must hold ------------------------------------------------------------------------------

class SettingsTypist(Typist):
    """Types at a shell whose user has such a file."""

    def __init__(self, shell, path, changes):
        super().__init__(shell)
        self.path = path
        self.file = None
        self.changes = changes  # of the terminal, by the file's setty: how often
        shell.do("def note_child(number, frame): report('child')\n"
                 "signal.signal(signal.SIGCHLD, note_child)")

    def use(self, file):
        """The next line is the first with a new editor, which reads the file."""
        self.file = file
        with open(self.path, "w", encoding="utf-8", errors="surrogateescape", newline="") as stream:
            stream.write(file.text)
        self.shell.do("Tavorin.resetInput()")
        self.shell.do("[Tavorin.addHistory(line, 'exec', '') for line in [%s]]"
                      % ", ".join('"%s"' % line for line in HISTORY))

    def start_read(self, seed):
        """A line is being read, edited or not, or has been ended by what was still to be read."""
        self.check_terminal()
        self.shell.ask("report('reading') or read(%d)" % seed)
        self.shell.next_report("reading")
        self.shell.wait_until(
            lambda: self.has_ended() or self.shell.is_editing() or waits_in_select(self.shell.pid)
            or waits_in_write(self.shell.pid), "a line to be read")

    def check_terminal(self):
        """It is as before, but for what the file asked for."""
        if self.file.changes_terminal:
            self.changes.update(
                self.shell.original_settings.differences(self.shell.settings()))
            self.shell.change_settings_back()
        else:
            self.shell.assert_settings_as_before()

    def take_end(self):
        outcome = self.shell.outcome()
        self.ends += 1
        if isinstance(outcome, Raised):
            kind = (outcome.type, outcome.message)
            assert kind in CAUSES, outcome
            self.kinds.add(kind)
        else:
            assert isinstance(outcome, Returned) and isinstance(outcome.value, str)
            self.kinds.add(None)
        return outcome

    def interrupt(self):
        """A Ctrl-C ends the read: the key, if the terminal turns it into the signal, else the signal
        itself.  A key that quotes the next one may take it."""
        if self.file.changes_terminal:
            self.shell.signal(signal.SIGINT)
        for _ in range(3):
            if not self.file.changes_terminal:
                self.paste(b"\x03")
            self.shell.wait_until(lambda: self.has_ended() or self.shell.has_taken_all_keys(),
                                  "the Ctrl-C to be taken")
            if self.has_ended():
                break
        assert self.take_end() == INTERRUPTED

    def bout(self, seed):
        dice = random.Random(seed)
        self.typed = b""
        self.use(File(dice))
        self.start_read(seed)
        for chunk in random_chunks(dice):
            if self.has_ended():
                self.take_end()
                self.start_read(seed)
            self.paste(chunk)
            if dice.random() < 0.1:
                self.wait_until_taken()
        self.read_on(seed)
        self.interrupt()
        self.check_a_plain_line(seed)
        assert not self.shell.has_report("child")
        assert session_members(self.shell.pid) == [self.shell.pid]

    def check_a_plain_line(self, seed):
        """It can be ended, by either key; it is what was typed, if the file leaves letters alone."""
        line = "plain line %d" % seed
        self.start_read(seed)
        self.shell.type(line)
        for key in b"\r\n":
            if not self.has_ended():
                self.paste(bytes([key]))
                self.shell.wait_until(lambda: self.has_ended() or self.shell.has_taken_all_keys(),
                                      "the key to be taken")
        if self.file.changes_text or self.file.changes_terminal:
            if not self.has_ended():
                self.shell.signal(signal.SIGINT)
            self.take_end()
        else:
            assert self.take_end() == Returned(line)
        self.check_terminal()


def bouts(count):
    """Seeds: `count` of them, unless others are asked for."""
    if SEED is None and SECONDS is None:
        yield from range(count)
        return
    first = seed = int(SEED or 0)
    deadline = time.monotonic() + float(SECONDS or 3)
    while time.monotonic() < deadline or seed == first:
        yield seed
        seed += 1
    print("%d bouts from TAVORIN_SETTINGS_SEED=%d on" % (seed - first, first))


@LOCALES
def test_any_settings_file(terminal, tmp_path, locale):
    path = str(tmp_path / "settings")
    typist = None
    changes = collections.Counter()
    for number, seed in enumerate(bouts(30)):
        if number % 30 == 0:
            shell = terminal(locale=locale, variables={"EDITRC": path})
            shell.do(CHILD)
            typist = SettingsTypist(shell, path, changes)
        try:
            typist.bout(seed)
        except BaseException:
            print("TAVORIN_SETTINGS_SEED=%d failed, with the file\n%s\nhaving typed %r"
                  % (seed, typist.file.text, typist.typed))
            raise
    print("the terminal was left with: %s" % dict(changes))
