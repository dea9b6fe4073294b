"""Where a prompt and a line that is being edited stand on a screen."""


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
