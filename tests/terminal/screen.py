"""The screen of a terminal, and where a prompt and a line that is being edited stand on it."""

import pyte


class Screen(pyte.Screen):
    """What pyte (0.8) shows, without what it keeps beyond the right margin."""

    def insert_characters(self, count=None):
        """A character that is pushed out is gone; pyte has it come back later."""
        super().insert_characters(count)
        self.buffer[self.cursor.y].pop(self.columns, None)

    def erase_in_line(self, how=0, private=False):
        """Behind a full row the cursor is still on its last character, which goes with the rest."""
        if how == 0 and self.cursor.x == self.columns:
            self.buffer[self.cursor.y].pop(self.columns - 1, None)
        super().erase_in_line(how, private)


class Wrapped:
    """`text`, the prompt included, as it fills rows of `columns`, with the cursor at `position`."""

    def __init__(self, text, columns, position=None):
        if position is None:
            position = len(text)
        # The cursor leaves a full row for the next one at once.
        self.rows = [text[start:start + columns].rstrip()
                     for start in range(0, len(text) + 1, columns)]
        self.cursor = divmod(position, columns)

    def wait(self, shell, above=()):
        """Wait until it stands on the screen of `shell`, below the rows `above` and above
        nothing else."""
        shell.wait_for_cursor(len(above) + self.cursor[0], self.cursor[1])
        for number, row in enumerate(list(above) + self.rows + [""]):
            shell.wait_for_row(number, row)
