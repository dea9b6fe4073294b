"""Names for the keys of a terminal, so that tests and failure reports can be read.

Text is typed as it stands, and a name in angle brackets is a key: ``"show ver<tab><enter>"``.
A literal ``<`` is typed as ``<lt>``.
"""

import re

# What an xterm sends.  Terminals differ in Home, End and the control-arrows: a test of another
# terminal's sequence spells it out, as in "<esc>[7~".
_SEQUENCES = {
    "backspace": b"\x7f",
    "delete": b"\x1b[3~",
    "down": b"\x1b[B",
    "end": b"\x1b[F",
    "enter": b"\r",
    "esc": b"\x1b",
    "home": b"\x1b[H",
    "insert": b"\x1b[2~",
    "left": b"\x1b[D",
    "lt": b"<",
    "right": b"\x1b[C",
    "space": b" ",
    "tab": b"\t",
    "up": b"\x1b[A",
    "ctrl-left": b"\x1b[1;5D",
    "ctrl-right": b"\x1b[1;5C",
    "alt-left": b"\x1b[1;3D",
    "alt-right": b"\x1b[1;3C",
    "shift-left": b"\x1b[1;2D",
    "shift-right": b"\x1b[1;2C",
    "page-up": b"\x1b[5~",
    "page-down": b"\x1b[6~",
    "f5": b"\x1b[15~",
}

_KEY_NAME = re.compile(r"<([^<>\s]+)>")


def _one_key(name):
    """The bytes that the key called `name` sends."""
    if name in _SEQUENCES:
        return _SEQUENCES[name]
    if name.startswith("meta-") and len(name) > len("meta-"):
        rest = name[len("meta-"):]
        return b"\x1b" + (rest.encode() if len(rest) == 1 else _one_key(rest))
    control = re.fullmatch(r"ctrl-([a-z@\[\\\]^_])", name)
    if control:
        return bytes([ord(control.group(1).upper()) & 0x1F])
    raise ValueError("no key is called <%s>" % name)


def key_bytes(keys, encoding="utf-8"):
    """The bytes for `keys`, which is text with key names in angle brackets.

    A lone surrogate from U+DC80 to U+DCFF is the byte 0x80 to 0xFF.
    """
    sent = b""
    end = 0
    for match in _KEY_NAME.finditer(keys):
        sent += keys[end:match.start()].encode(encoding, "surrogateescape") + _one_key(match.group(1))
        end = match.end()
    return sent + keys[end:].encode(encoding, "surrogateescape")


def split_keys(keys):
    """`keys` cut into single keys, in the form that `key_bytes` takes."""
    return re.findall(r"<[^<>\s]+>|.", keys, re.DOTALL)
