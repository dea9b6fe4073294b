"""The command line of an imaginary network device, over Tavorin.

Modes: "exec", below it "config", below that one for each interface.  ? lists what can come next,
<tab> completes, Up and Ctrl-R recall what was typed in this mode or in one above it.  Ctrl-C drops
the line, Ctrl-Z goes back to exec mode, Ctrl-D or "exit" leaves a mode.

To add a command, write a function below and a row for it in COMMANDS.
"""

import collections
import os
import signal
import sys
import tempfile
import threading
import time

import Tavorin

# A mode of the command line. `kind` selects its rows of COMMANDS, `key` names its history, and
# `parent` is the key of the mode above, whose lines it recalls too.
Mode = collections.namedtuple("Mode", "kind key parent prompt")

EXEC = Mode("exec", "exec", "", "> ")
CONFIG = Mode("config", "config", "exec", "(config)# ")


def interface_mode(name):
    return Mode("interface", "interface " + name, "config", "(config-%s)# " % name)


# --- The log: a thread that writes it, and how its messages get to the terminal

class Log(object):
    """A log file to which a thread appends a line every few seconds."""

    def __init__(self, seconds):
        descriptor, self.name = tempfile.mkstemp(prefix="device-", suffix=".log")
        self.file = os.fdopen(descriptor, "r")
        self.shown = 0
        # Opened once: opening it by its name would create the file again after remove().
        self.end = open(self.name, "a", 0)
        writer = threading.Thread(target=self.write_on, args=(seconds,))
        writer.daemon = True
        writer.start()

    def write_on(self, seconds):
        for number in xrange(1, sys.maxint):
            time.sleep(seconds)
            self.end.write("eth%d: link %s\n" % (number % 2, "down" if number % 4 < 2 else "up"))

    def skip(self):
        """What has been written up to now is not news."""
        self.file.seek(0, os.SEEK_END)
        self.shown = self.file.tell()

    def show_news(self, lines, size):
        """Called by Tavorin between two keys when the file has grown.

        What is written here takes the place of the line being typed; the result 1 draws that line
        again below it.
        """
        # A file that has been read to its end gives what comes later only after a seek.
        self.file.seek(self.shown)
        news = self.file.read()
        news = news[:news.rfind("\n") + 1]      # the beginning of a line is for a later call
        if not news:
            return 0
        self.shown += len(news)
        sys.stdout.write("\r\033[J" + news)
        sys.stdout.flush()
        return 1

    def remove(self):
        os.unlink(self.name)


# --- Commands.  Each gets the device and the words that stand for its <arguments>

def configure(device):
    device.modes.append(CONFIG)


def interface(device, name):
    name = shown(name)
    device.interfaces.setdefault(name, "")
    device.modes[device.modes.index(CONFIG) + 1:] = [interface_mode(name)]


def description(device, text):
    device.interfaces[device.mode.key.split()[1]] = text


def hostname(device, name):
    device.hostname = shown(name)


def leave_mode(device):
    device.modes.pop()


def end(device):
    del device.modes[1:]


def show_history(device):
    """What the history keys can recall here, oldest first."""
    for line in Tavorin.history(device.mode.key):
        print "  " + line


def show_interfaces(device):
    for name, text in sorted(device.interfaces.items()):
        print "  %-8s %s" % (name, text)


def clear_history(device):
    if ask("Forget all lines? [y/n] ").strip().lower().startswith("y"):
        Tavorin.clearHistory()


def history_limit(device, lines):
    Tavorin.historyLimitIs(number(lines, 0, 1000000))


def terminal_width(device, columns):
    """For a terminal that does not tell its size, such as one on a serial line."""
    Tavorin.TerminalWidthIs(number(columns, 10, 1000))


def terminal_monitor(device):
    device.log.skip()
    Tavorin.loggingSyncEnabledIs(device.log.name, device.news)


def no_terminal_monitor(device):
    Tavorin.loggingSyncEnabledIs(device.log.name)


def terminal_paste(device):
    """For pasting tabs or question marks at a terminal that does not mark what is pasted."""
    Tavorin.keyBindingsEnabledIs(False)


def no_terminal_paste(device):
    Tavorin.keyBindingsEnabledIs(True)


def logout(device):
    """The next user must not find the lines of this one."""
    # To be called once after each set-up, before sys.stdin and sys.stdout are replaced.  If users
    # have terminals of their own, replace them after this call; the next one sets up the editor.
    Tavorin.resetInput()
    Tavorin.keyBindingsEnabledIs(True)
    end(device)
    ask("\nThis is %s. Press Enter to start." % device.hostname)


def mark_pastes(on):
    """Have the terminal tell what is pasted, so that a tab or a question mark in it is text."""
    if sys.stdout.isatty():
        sys.stdout.write("\033[?2004h" if on else "\033[?2004l")
        sys.stdout.flush()


class CommandError(Exception):
    """What the user typed cannot be done; the text says why."""


def number(text, least, most):
    if not text.isdigit() or not least <= int(text) <= most:
        raise CommandError("Not a number from %d to %d: %s" % (least, most, text))
    return int(text)


def shown(name):
    """A name for the prompt, where a control character would act on the terminal."""
    if not all("!" <= letter <= "~" for letter in name):
        raise CommandError("Not a name: %r" % name)
    return name


def ask(question):
    # At a question <tab> and ? do not complete commands, but Up recalls them.  Ctrl-D is an empty
    # answer.  After Ctrl-C, KeyboardInterrupt is raised once a line is entered.
    keys = Tavorin.keyBindingsEnabled()
    try:
        Tavorin.keyBindingsEnabledIs(False)
        return Tavorin.simpleReadline(question)
    except EOFError:
        print
        return ""
    finally:
        Tavorin.keyBindingsEnabledIs(keys)


# Modes, words, what ? says about the last of them, function.
EVERYWHERE = "exec config interface"
COMMANDS = [
    ("exec", "clear history", "Forget all recorded lines", clear_history),
    ("exec", "configure", "Change what the device does", configure),
    ("exec", "exit", "Leave the shell", leave_mode),
    ("exec", "history limit <lines>", "How many; 0 records none", history_limit),
    ("exec", "logout", "Let the next user in", logout),
    ("exec", "no terminal monitor", "Keep log messages away", no_terminal_monitor),
    ("exec", "no terminal paste", "<tab> and ? complete again", no_terminal_paste),
    ("exec", "show interfaces", "The interfaces and their descriptions", show_interfaces),
    (EVERYWHERE, "show history", "The lines that can be recalled here", show_history),
    ("exec", "terminal monitor", "Show log messages as they come", terminal_monitor),
    ("exec", "terminal paste", "Take <tab> and ? as they are", terminal_paste),
    ("exec", "terminal width <columns>", "For a terminal of unknown size", terminal_width),
    ("config", "hostname <name>", "The name in the prompt", hostname),
    ("config interface", "interface <name>", "The interface to configure", interface),
    ("interface", "description <text>", "One word about the interface", description),
    ("config interface", "end", "Back to exec mode", end),
    ("config interface", "exit", "Back to the mode above", leave_mode),
]

# What ? says about words that are not the last of a command.
WORDS = {
    "clear": "Forget something",
    "description": "Say what the interface is for",
    "history": "How lines are recorded",
    "history limit": "How many lines are kept",
    "hostname": "Name the device",
    "interface": "Configure an interface",
    "no": "Undo something",
    "no terminal": "How this terminal behaves",
    "show": "Tell about the device",
    "terminal": "How this terminal behaves",
    "terminal width": "How many columns it has",
}

END_OF_LINE = "<enter>"


def is_argument(word):
    return word.startswith("<")


def matching(mode, typed):
    """The rows of a mode whose commands begin with the typed words, any of which may be cut short."""
    found = [row for row in COMMANDS if mode.kind in row[0].split()]
    for place, word in enumerate(typed):
        words = [(row, row[1].split()[place]) for row in found if len(row[1].split()) > place]
        whole = [row for row, known in words if known == word]
        begun = [row for row, known in words if known.startswith(word) or is_argument(known)]
        found = whole or begun
    return found


def next_words(mode, typed, begun):
    """What can follow the typed words and begins with `begun`: words and what ? says about them."""
    choices = {}
    for _, words, text, _ in matching(mode, typed):
        words = words.split()
        place = len(typed)
        if len(words) == place:
            if not begun:
                choices[END_OF_LINE] = "Do it"
        elif words[place].startswith(begun) or is_argument(words[place]):
            last = len(words) == place + 1
            choices[words[place]] = text if last else WORDS[" ".join(words[:place + 1])]
    return choices


def run(device, typed):
    """Find the command that the words mean, and do it."""
    found = matching(device.mode, typed)
    meanings = set(tuple(words.split()[:len(typed)]) for _, words, _, _ in found)
    whole = [row for row in found if len(row[1].split()) == len(typed)]
    if not found:
        raise CommandError("No such command")
    if len(meanings) > 1:
        raise CommandError("Ambiguous: " + " or ".join(sorted(map(" ".join, meanings))))
    if not whole:
        raise CommandError("Incomplete")
    _, words, _, function = whole[0]
    function(device, *[word for word, known in zip(typed, words.split()) if is_argument(known)])


# --- The shell

class Device(object):
    def __init__(self, log):
        self.hostname = "device"
        self.interfaces = {"eth0": "uplink", "eth1": ""}
        self.log = log
        self.modes = [EXEC]
        # Tavorin borrows these two and uses them after the call that passes them.  Each lookup of a
        # method makes a new object, which would be gone by then.
        self.completer = self.complete
        self.news = log.show_news
        # The parent of a mode must exist, so they are made from the top down.
        Tavorin.newHistoryMode(EXEC.key, EXEC.parent)
        Tavorin.newHistoryMode(CONFIG.key, CONFIG.parent)

    @property
    def mode(self):
        return self.modes[-1]

    def complete(self, key, line, position):
        """Called by Tavorin at <tab> and ?; returns what to put at the end of the line."""
        typed = line.split()
        begun = typed.pop() if typed and not line[-1].isspace() else ""
        choices = next_words(self.mode, typed, begun)
        words = [word for word in choices if word[:1] != "<"]
        common = os.path.commonprefix(words)
        if key == "\t" and len(words) == len(choices) == 1:
            return common[len(begun):] + " "
        if key == "\t" and len(common) > len(begun):
            return common[len(begun):]
        sys.stdout.write("\n" if choices else "\n% No such command\n")
        for word in sorted(choices):
            sys.stdout.write("  %-16s %s\n" % (word, choices[word]))
        sys.stdout.flush()
        return None

    def read_and_run(self):
        mode = self.mode
        line = Tavorin.readline(self.hostname + mode.prompt, self.completer, mode.key, mode.parent)
        Tavorin.addHistory(line, mode.key, mode.parent)
        if line.strip():
            run(self, line.split())

    def serve(self):
        while self.modes:
            try:
                self.read_and_run()
            except CommandError as problem:
                print "%% %s" % problem
            except KeyboardInterrupt as key:
                print
                if "Ctrl-Z" in str(key):
                    end(self)
            except EOFError:
                print
                leave_mode(self)


def main():
    try:
        (seconds,) = map(float, sys.argv[1:]) or [5]    # between two log messages
    except ValueError:
        seconds = 0
    if not 0 < seconds <= 1e6:
        sys.stderr.write("usage: shell.py [SECONDS between two log messages]\n")
        sys.exit(2)
    log = Log(seconds)
    # Ctrl-Z never stops this shell.  In readline it raises KeyboardInterrupt; anywhere else it is
    # ignored, also at a question, because simpleReadline leaves signals to the shell.
    signal.signal(signal.SIGTSTP, signal.SIG_IGN)
    mark_pastes(True)
    try:
        Device(log).serve()
    finally:
        mark_pastes(False)
        log.remove()


if __name__ == "__main__":
    main()
