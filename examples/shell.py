"""A small command-line shell over Tavorin: two modes, completion with <tab>, help with ?.

Ctrl-C drops the line, Ctrl-Z goes back to exec mode, Ctrl-D or "exit" leaves.
"""

import sys

import Tavorin

# Each command by mode: its words and what ? says about it.
COMMANDS = {
    "exec": {
        "configure": "Enter configuration mode",
        "exit": "Leave the shell",
        "show history": "List the commands entered in this mode",
        "show version": "Tell which interpreter runs this shell",
    },
    "config": {
        "end": "Go back to exec mode",
        "exit": "Go back to exec mode",
        "hostname": "Set the name in the prompt",
        "show history": "List the commands that this mode can recall",
    },
}
PARENT = {"exec": "", "config": "exec"}


class Shell(object):
    def __init__(self):
        self.mode = "exec"
        self.hostname = "device"
        self.running = True

    def prompt(self):
        return self.hostname + {"exec": "> ", "config": "(config)# "}[self.mode]

    def matching(self, line):
        """The commands of the mode that the line is the beginning of."""
        return sorted(name for name in COMMANDS[self.mode] if name.startswith(line))

    def complete(self, key, line, position):
        """Called by Tavorin for <tab> and ?. Returns the text to append, or None."""
        names = self.matching(line.lstrip())
        if key == "\t" and len(names) == 1:
            return names[0][len(line.lstrip()):] + " "
        sys.stdout.write("\r\n")
        for name in names:
            sys.stdout.write("  %-14s %s\r\n" % (name, COMMANDS[self.mode][name]))
        sys.stdout.flush()
        return None

    def run(self, line):
        words = line.split()
        name = " ".join(words[:2]) if words[0] == "show" else words[0]
        if name not in COMMANDS[self.mode]:
            print "% Unknown command: " + line
        elif name == "configure":
            self.mode = "config"
        elif name == "end" or (name == "exit" and self.mode == "config"):
            self.mode = "exec"
        elif name == "exit":
            self.running = False
        elif name == "hostname":
            self.hostname = " ".join(words[1:]) or "device"
        elif name == "show history":
            print "\n".join(Tavorin.history(self.mode))
        elif name == "show version":
            print "Python " + sys.version.split()[0]

    def read_and_run(self):
        parent = PARENT[self.mode]
        line = Tavorin.readline(self.prompt(), self.complete, self.mode, parent)
        Tavorin.addHistory(line, self.mode, parent)
        if line.strip():
            self.run(line)

    def loop(self):
        while self.running:
            try:
                self.read_and_run()
            except KeyboardInterrupt as interrupt:
                print
                if "Ctrl-Z" in str(interrupt):
                    self.mode = "exec"
            except EOFError:
                print
                self.running = False


if __name__ == "__main__":
    Shell().loop()
