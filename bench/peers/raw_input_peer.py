"""Python 2.7 with the interpreter's own readline module: what a shell would use instead."""

import readline

import peer


def complete(text, state):
    return "version " if text == "ver" and state == 0 else None


def record_all(lines):
    for line in lines:
        readline.add_history(line)


def listing():
    count = readline.get_current_history_length()
    return [readline.get_history_item(i) for i in range(1, count + 1)]


readline.parse_and_bind("tab: complete")
readline.set_completer(complete)
# raw_input records by itself.
peer.serve(raw_input, None, record_all, listing)  # noqa: F821
