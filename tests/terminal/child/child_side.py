"""The half of the terminal tests that runs in the child, on Python 2.7 and its standard library.

The child stands in for the command-line shell.  Apart from the terminal it has a channel to the
test, one JSON object a line in each direction: the test sends code to run, and the child answers
with the value that came back or with the exception that was raised.  Results are thus judged by
what a call really did, never by what the terminal happens to show.
"""

import errno
import json
import os
import select
import signal
import sys
import traceback

_channel = int(os.environ["TAVORIN_TEST_CHANNEL"])
_received = ""


def _retrying(call, *arguments):
    """Make a system call again for as long as signals interrupt it."""
    while True:
        try:
            return call(*arguments)
        except (EnvironmentError, select.error) as error:
            if error.args[0] != errno.EINTR:
                raise


def _portable(value):
    """`value` in a form that JSON carries without loss: a str goes as one character per byte."""
    if isinstance(value, unicode):
        value = value.encode("utf-8")
    if isinstance(value, str):
        return value.decode("latin-1")
    if value is None or isinstance(value, (bool, int, long, float)):
        return value
    if isinstance(value, (list, tuple)):
        return [_portable(item) for item in value]
    if isinstance(value, dict):
        return dict((_portable(key), _portable(item)) for key, item in value.items())
    return _portable(repr(value))


def report(event, **fields):
    """Tell the test about something that happened."""
    fields["event"] = event
    message = json.dumps(_portable(fields)) + "\n"
    while message:
        message = message[_retrying(os.write, _channel, message):]


def _next_message():
    """The next line from the test, or None when the test has closed the channel."""
    global _received
    while "\n" not in _received:
        # The interpreter runs signal handlers on its main thread, here, and between two steps of its
        # own code only.  Where another thread has taken the signal, nothing ends a wait for that.
        while not _retrying(select.select, [_channel], [], [], 0.05)[0]:
            pass
        data = _retrying(os.read, _channel, 65536)
        if not data:
            return None
        _received += data
    line, _received = _received.split("\n", 1)
    return json.loads(line)


def wait_for_go():
    """Wait until the test says "go"."""
    message = _next_message()
    if message is None:
        os._exit(0)
    assert message == "go", message


def signal_masks():
    """The kernel's view of this process's signals: which are blocked, ignored and caught."""
    with open("/proc/self/status") as status:
        fields = dict(line.rstrip("\n").split(":", 1) for line in status)
    return dict((name, fields[name].strip()) for name in ("SigBlk", "SigIgn", "SigCgt"))


def report_signals(*signal_numbers):
    """Handle these signals as a shell might: note each one, and carry on."""
    def note(number, frame):
        report("signal", number=number)
    for number in signal_numbers:
        signal.signal(number, note)


def _run(code, names):
    """Run `code`; an expression has a value, statements have none."""
    try:
        compiled = compile(code, "<test>", "eval")
    except SyntaxError:
        exec compile(code, "<test>", "exec") in names
        return None
    return eval(compiled, names)


def _answer(code, names):
    """Run `code` and report how it ended."""
    try:
        value = _run(code, names)
    except BaseException as error:
        if isinstance(error, SystemExit):
            raise
        frames = traceback.extract_tb(sys.exc_info()[2])
        report("raised", type=type(error).__name__, message=str(error),
               functions=[frame[2] for frame in frames])
    else:
        report("returned", value=value)


def serve(names):
    """Run what the test sends until it closes the channel."""
    while True:
        try:
            code = _next_message()
            if code is None:
                return
            _answer(code, names)
        except KeyboardInterrupt as error:
            # The interpreter's own answer to a SIGINT that no line reading took.
            report("stray interrupt", message=str(error))


def main():
    """Import what the test asked for, and serve it."""
    names = {"report": report, "report_signals": report_signals, "signal_masks": signal_masks,
             "wait_for_go": wait_for_go}
    for module in ["os", "signal", "sys"] + os.environ.get("TAVORIN_TEST_IMPORTS", "").split():
        names[module] = __import__(module)
    report("ready")
    serve(names)
