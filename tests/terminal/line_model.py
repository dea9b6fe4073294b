"""What a person expects of the editing keys."""

from characters import is_in_word


class Model:
    """A line as a person expects it to be edited: its text, the cursor, and what was killed last.

    Each key acts on characters, whatever their width and their bytes.
    """

    def __init__(self):
        self.text = ""
        self.cursor = 0
        self.killed = ""    # or None, when it was only deleted: whether that can be put back is open

    def press(self, key):
        if key in self.KEYS:
            self.KEYS[key](self)
        else:
            self.insert(key)

    def insert(self, text):
        self.text = self.text[:self.cursor] + text + self.text[self.cursor:]
        self.cursor += len(text)

    def delete(self, start, end):
        cut = self.text[start:end]
        self.text = self.text[:start] + self.text[end:]
        self.cursor = start
        return cut

    def kill(self, start, end):
        self.killed = self.delete(start, end)

    def word_before(self, position=None):
        if position is None:
            position = self.cursor
        while position > 0 and not is_in_word(self.text[position - 1]):
            position -= 1
        while position > 0 and is_in_word(self.text[position - 1]):
            position -= 1
        return position

    def word_after(self, position=None):
        if position is None:
            position = self.cursor
        while position < len(self.text) and not is_in_word(self.text[position]):
            position += 1
        while position < len(self.text) and is_in_word(self.text[position]):
            position += 1
        return position

    def go(self, position):
        self.cursor = max(0, min(len(self.text), position))

    def backspace(self):
        if self.cursor > 0:
            self.delete(self.cursor - 1, self.cursor)
            self.killed = None

    def delete_after(self):
        if self.cursor < len(self.text):
            self.delete(self.cursor, self.cursor + 1)
            self.killed = None

    def kill_word_before(self):
        if self.cursor > 0:
            self.kill(self.word_before(), self.cursor)

    def kill_word_after(self):
        if self.cursor < len(self.text):
            self.kill(self.cursor, self.word_after())

    def transpose(self):
        behind = min(self.cursor + 1, len(self.text))
        if behind < 2:
            return
        self.cursor = behind
        before = self.text[self.cursor - 2:self.cursor]
        self.text = self.text[:self.cursor - 2] + before[::-1] + self.text[self.cursor:]

    def transpose_words(self):
        second = self.word_before(self.word_after())
        first = self.word_before(second)
        middle, end = self.word_after(first), self.word_after(second)
        if middle <= second:
            text = self.text
            self.text = (text[:first] + text[second:end] + text[middle:second] +
                         text[first:middle] + text[end:])
            self.cursor = end

    def complete(self):
        self.go(len(self.text))
        self.insert("done ")

    KEYS = {
        "<left>": lambda self: self.go(self.cursor - 1),
        "<right>": lambda self: self.go(self.cursor + 1),
        "<ctrl-b>": lambda self: self.go(self.cursor - 1),
        "<ctrl-f>": lambda self: self.go(self.cursor + 1),
        "<home>": lambda self: self.go(0),
        "<ctrl-a>": lambda self: self.go(0),
        "<end>": lambda self: self.go(len(self.text)),
        "<ctrl-e>": lambda self: self.go(len(self.text)),
        "<meta-b>": lambda self: self.go(self.word_before()),
        "<ctrl-left>": lambda self: self.go(self.word_before()),
        "<meta-f>": lambda self: self.go(self.word_after()),
        "<ctrl-right>": lambda self: self.go(self.word_after()),
        "<alt-left>": lambda self: self.go(self.word_before()),
        "<alt-right>": lambda self: self.go(self.word_after()),
        "<shift-left>": lambda self: self.go(self.cursor - 1),
        "<shift-right>": lambda self: self.go(self.cursor + 1),
        "<backspace>": backspace,
        "<ctrl-h>": backspace,
        "<delete>": delete_after,
        "<ctrl-w>": kill_word_before,
        "<meta-d>": kill_word_after,
        "<ctrl-k>": lambda self: self.kill(self.cursor, len(self.text)),
        "<ctrl-u>": lambda self: self.kill(0, len(self.text)),
        "<ctrl-y>": lambda self: self.insert(self.killed),
        "<ctrl-t>": transpose,
        "<meta-t>": transpose_words,
        "<tab>": complete,
        "<up>": lambda self: None,
        "<down>": lambda self: None,
        "<page-up>": lambda self: None,
        "<f5>": lambda self: None,
    }


def editing_key(model, dice):
    """One of the keys that the model knows."""
    return dice.choice([key for key in sorted(model.KEYS) if key != "<ctrl-y>" or model.killed])
