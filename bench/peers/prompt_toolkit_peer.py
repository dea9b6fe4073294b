"""Python 3 with prompt_toolkit, which has its own editor, written in Python."""

from prompt_toolkit import PromptSession
from prompt_toolkit.completion import Completer, Completion
from prompt_toolkit.history import InMemoryHistory
from prompt_toolkit.shortcuts import CompleteStyle

import peer


class Version(Completer):
    def get_completions(self, document, complete_event):
        if document.get_word_before_cursor() == "ver":
            yield Completion("version ", start_position=-3)


def record_all(lines):
    for line in lines:
        history.append_string(line)


history = InMemoryHistory()
session = PromptSession(history=history, completer=Version(), complete_while_typing=False,
                        complete_style=CompleteStyle.READLINE_LIKE)
# The session records by itself.
peer.serve(session.prompt, None, record_all, history.get_strings)
