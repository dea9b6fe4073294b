"""Terminal settings as a value: read them, change them, compare them field by field."""

import termios

_FLAG_NAMES = {
    "iflag": "IGNBRK BRKINT IGNPAR PARMRK INPCK ISTRIP INLCR IGNCR ICRNL IUCLC IXON IXANY IXOFF "
             "IMAXBEL IUTF8",
    "oflag": "OPOST OLCUC ONLCR OCRNL ONOCR ONLRET OFILL OFDEL NLDLY CRDLY TABDLY BSDLY VTDLY "
             "FFDLY",
    "cflag": "CSIZE CSTOPB CREAD PARENB PARODD HUPCL CLOCAL CRTSCTS",
    "lflag": "ISIG ICANON XCASE ECHO ECHOE ECHOK ECHONL NOFLSH TOSTOP ECHOCTL ECHOPRT ECHOKE "
             "FLUSHO PENDIN IEXTEN EXTPROC",
}

# Python's termios module leaves these out; the values are those of Linux.
_MISSING_FLAGS = {"IUTF8": 0o40000, "EXTPROC": 0o200000}

_CHARACTER_NAMES = (
    "VINTR VQUIT VERASE VKILL VEOF VTIME VMIN VSWTC VSTART VSTOP VSUSP VEOL VREPRINT VDISCARD "
    "VWERASE VLNEXT VEOL2"
).split()

DISABLED = 0  # the value of a special character that no key stands for


def _flag(name):
    return _MISSING_FLAGS[name] if name in _MISSING_FLAGS else getattr(termios, name, 0)


def _flag_word(name):
    """Which of the four flag words holds the flag `name`."""
    for word, names in _FLAG_NAMES.items():
        if name in names.split():
            return word
    raise ValueError("no terminal flag is called %s" % name)


class Settings:
    """Everything that `tcgetattr` tells about a terminal."""

    def __init__(self, attributes):
        self.words = dict(zip(("iflag", "oflag", "cflag", "lflag"), attributes[:4]))
        self.speeds = {"ispeed": attributes[4], "ospeed": attributes[5]}
        # VMIN and VTIME come as numbers when the terminal is in non-canonical mode.
        self.characters = [c if isinstance(c, int) else ord(c) for c in attributes[6]]

    def __eq__(self, other):
        return isinstance(other, Settings) and self.attributes() == other.attributes()

    def __repr__(self):
        return "Settings(%r)" % (self.attributes(),)

    def attributes(self):
        """The list that `tcsetattr` takes."""
        words = [self.words[name] for name in ("iflag", "oflag", "cflag", "lflag")]
        return words + [self.speeds["ispeed"], self.speeds["ospeed"], self.characters]

    def has(self, flag):
        """Whether the flag of this name, such as "ECHO", is on."""
        return bool(self.words[_flag_word(flag)] & _flag(flag))

    def changed(self, changes):
        """These settings with `changes`: {"ECHO": False, "VERASE": 8}."""
        result = Settings(self.attributes())
        result.characters = list(self.characters)
        for name, value in changes.items():
            if name in _CHARACTER_NAMES:
                result.characters[getattr(termios, name)] = value
            elif value:
                result.words[_flag_word(name)] |= _flag(name)
            else:
                result.words[_flag_word(name)] &= ~_flag(name)
        return result

    def differences(self, other):
        """Readable lines that tell where `other` differs from these settings."""
        lines = []
        for word, names in _FLAG_NAMES.items():
            lines += self._flag_differences(other, word, names.split())
        for name, value in self.speeds.items():
            if other.speeds[name] != value:
                lines.append("%s: %d became %d" % (name, value, other.speeds[name]))
        return lines + self._character_differences(other)

    def _flag_differences(self, other, word, names):
        changed = self.words[word] ^ other.words[word]
        lines = []
        for name in names:
            mask = _flag(name)
            if changed & mask:
                values = (self.words[word] & mask, other.words[word] & mask)
                lines.append("%s.%s: %#o became %#o" % ((word, name) + values))
                changed &= ~mask
        if changed:
            lines.append("%s: other bits changed: %#o" % (word, changed))
        return lines

    def _character_differences(self, other):
        names = {getattr(termios, name): name
                 for name in _CHARACTER_NAMES if hasattr(termios, name)}
        return ["cc[%s]: %r became %r" % (names.get(index, index), before, after)
                for index, (before, after) in enumerate(zip(self.characters, other.characters))
                if before != after]


def read_settings(fd):
    """The settings of the terminal behind `fd`; an OSError if it has none, or is hung up."""
    try:
        return Settings(termios.tcgetattr(fd))
    except termios.error as error:
        raise OSError(*error.args) from None


def apply_settings(fd, settings):
    """Give the terminal behind `fd` these settings, and make sure that it took them."""
    termios.tcsetattr(fd, termios.TCSANOW, settings.attributes())
    refused = settings.differences(read_settings(fd))
    if refused:
        raise OSError("the terminal did not take its settings:\n" + "\n".join(refused))


def set_window_size(fd, rows, columns):
    """Give the terminal behind `fd` this window size; its foreground processes get SIGWINCH."""
    termios.tcsetwinsize(fd, (rows, columns))


def is_raw(fd):
    """Whether keys reach the reader one by one (the line editor's mode) instead of by lines."""
    try:
        return not read_settings(fd).has("ICANON")
    except OSError:
        return False
