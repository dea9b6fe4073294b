"""The screen of a terminal, and where a prompt and a line that is being edited stand on it."""

import pyte
from pyte import modes

from characters import is_printable, width


class Screen(pyte.Screen):
    """pyte's screen (0.8) without what it keeps beyond the right margin, and with characters of no
    or of two columns as an xterm has them.

    A wide character has its first cell, and an empty one behind it.
    """

    # Where the latest character has left the cursor.  A mark joins that character.
    _behind_latest = None

    def resize(self, lines=None, columns=None):
        """As an xterm does it: rows are cut off or filled up at the right, not wrapped anew.  Rows
        go at the bottom, and at the top only as many as the cursor needs.  pyte takes all from the
        top."""
        lines, columns = lines or self.lines, columns or self.columns
        for _ in range(max(0, self.cursor.y + 1 - lines)):
            kept = [self.buffer.get(number + 1) for number in range(self.lines - 1)]
            self.buffer.clear()
            self.buffer.update((number, row) for number, row in enumerate(kept) if row is not None)
            self.cursor.y -= 1
        for number in [number for number in self.buffer if number >= lines]:
            del self.buffer[number]
        for row in self.buffer.values():
            for cell in [cell for cell in row if cell >= columns]:
                del row[cell]
        self.lines, self.columns = lines, columns
        self.cursor.x = min(self.cursor.x, columns - 1)
        self.set_margins()
        self.dirty.update(range(lines))

    def draw(self, data):
        for character in data.translate(self.g1_charset if self.charset else self.g0_charset):
            if width(character) > 0:
                self._place(character, width(character))
            elif width(character) == 0:
                self._join(character)

    def _place(self, character, columns):
        if self.cursor.x + columns > self.columns:
            if modes.DECAWM in self.mode:
                self.carriage_return()
                self.linefeed()
            else:
                self.cursor.x = self.columns - columns
        if modes.IRM in self.mode:
            self.insert_characters(columns)
        cells = self.buffer[self.cursor.y]
        for cell, text in enumerate([character, ""][:columns], self.cursor.x):
            cells[cell] = self.cursor.attrs._replace(data=text)
        self.cursor.x += columns
        self._behind_latest = (self.cursor.y, self.cursor.x)
        self.dirty.add(self.cursor.y)

    def _join(self, mark):
        """Elsewhere than behind the latest character, terminals differ; here it is lost."""
        if (self.cursor.y, self.cursor.x) != self._behind_latest:
            return
        cells = self.buffer[self.cursor.y]
        cell = self.cursor.x - 1
        if cells[cell].data == "":
            cell -= 1
        cells[cell] = cells[cell]._replace(data=cells[cell].data + mark)
        self.dirty.add(self.cursor.y)

    def insert_characters(self, count=None):
        """A character that is pushed out is gone; pyte has it come back later."""
        super().insert_characters(count)
        self.buffer[self.cursor.y].pop(self.columns, None)

    def erase_in_line(self, how=0, private=False):
        """Behind a full row the cursor is still on its last character, which goes with the rest."""
        if how == 0 and self.cursor.x == self.columns:
            self.buffer[self.cursor.y].pop(self.columns - 1, None)
        super().erase_in_line(how, private)

    @property
    def display(self):
        return [self.row(number) for number in range(self.lines)]

    def row(self, number):
        """The text of a row."""
        return "".join(self._shown(self.buffer[number]))

    def _shown(self, cells):
        """What the cells show, one by one.  Half a wide character is blank."""
        cell = 0
        while cell < self.columns:
            text = cells[cell].data
            wide = text and width(text[0]) == 2
            whole = wide and cell + 1 < self.columns and cells[cell + 1].data == ""
            yield text if text and wide == whole else " "
            cell += 2 if whole else 1


def _drawn(character, is_first):
    """What the editor draws for a character: itself, or what stands for it."""
    code = ord(character)
    if code < 0x20 or code == 0x7F:
        return "^" + chr(code ^ 0x40)
    # A mark that has nothing before it is shown for itself.
    if is_printable(character) and (width(character) > 0 or not is_first):
        return character
    # A byte that is no part of a character is a character of its own, with a negative code.
    if 0xDC80 <= code <= 0xDCFF:
        code += 0xFF00 - 0xDC00
    return "\\U+%04X" % code


class Wrapped:
    """`text`, the prompt included, as it fills rows of `columns`, with the cursor at `position`.

    A wide character that the last column has no room for goes to the next row.  A mark stands with
    the character before it, which may be the last one in a full row.  The line begins at `start`.
    """

    def __init__(self, text, columns, position=None, start=0):
        self._columns = columns
        self._filled = 0    # columns of the last row
        self.rows = [""]
        self.cursor = None
        for number, character in enumerate(text):
            shown = self._blanks() if character == "\t" else _drawn(character, number == start)
            # The cursor leaves a full row for the next one at once.
            if number == position:
                self.cursor = self._place_of(shown[0])
            for each in shown:
                self._add(each)
        if self._filled == columns:
            self._begin_row()
        if position is None or position == len(text):
            self.cursor = len(self.rows) - 1, self._filled
        self.rows = [row.rstrip() for row in self.rows]

    def _blanks(self):
        """What a tab is drawn as."""
        column = self._filled % self._columns
        return " " * min(8 - column % 8, self._columns - column)

    def _place_of(self, character):
        if self._filled + max(width(character), 1) > self._columns:
            return len(self.rows), 0
        return len(self.rows) - 1, self._filled

    def _begin_row(self):
        self.rows.append("")
        self._filled = 0

    def _add(self, character):
        if self._filled + width(character) > self._columns:
            self._begin_row()
        self.rows[-1] += character
        self._filled += width(character)

    def wait(self, shell, above=()):
        """Wait until it stands on the screen of `shell`, below the rows `above` and above
        nothing else."""
        shell.wait_for_cursor(len(above) + self.cursor[0], self.cursor[1])
        for number, row in enumerate(list(above) + self.rows + [""]):
            shell.wait_for_row(number, row)
