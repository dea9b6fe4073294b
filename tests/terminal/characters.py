"""What the C library says of characters in UTF-8; the child asks the same library."""

import ctypes
import functools

_LC_CTYPE_MASK = 1

_libc = ctypes.CDLL(None)
_libc.newlocale.restype = _libc.uselocale.restype = ctypes.c_void_p
_libc.newlocale.argtypes = (ctypes.c_int, ctypes.c_char_p, ctypes.c_void_p)
_libc.uselocale.argtypes = (ctypes.c_void_p,)
_utf8 = _libc.newlocale(_LC_CTYPE_MASK, b"C.UTF-8", None)


def _asked(function, character):
    """What a function of the C library answers for a character."""
    before = _libc.uselocale(_utf8)
    try:
        return function(ctypes.c_uint(ord(character)))
    finally:
        _libc.uselocale(before)


@functools.lru_cache(None)
def width(character):
    """How many columns it takes: 0 for a mark on the character before it, -1 if it has no form."""
    return _asked(_libc.wcwidth, character)


@functools.lru_cache(None)
def is_printable(character):
    return bool(_asked(_libc.iswprint, character))


@functools.lru_cache(None)
def is_in_word(character):
    """Whether it belongs to a word for the keys that move by words."""
    return bool(_asked(_libc.iswalnum, character)) or character in "*?_-.[]~="
