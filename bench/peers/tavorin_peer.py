"""The module, as a shell uses it: with a completion function, history modes, and the log monitor
where there is a log."""

import sys

import Tavorin

import peer


def complete(key, line, position):
    return "sion " if line == "show ver" else None


def read(prompt):
    return Tavorin.readline(prompt, complete, "exec", "")


def record(line):
    Tavorin.addHistory(line, "exec", "")


def record_all(lines):
    for line in lines:
        Tavorin.addHistory(line, "exec", "")


def show_news(lines, size):
    sys.stdout.write("\n" + log.read())
    sys.stdout.flush()
    return 1


Tavorin.historyLimitIs(1000000)
if len(sys.argv) > 2:
    log = open(sys.argv[2])
    log.seek(0, 2)
    Tavorin.loggingSyncEnabledIs(sys.argv[2], show_news)
peer.serve(read, record, record_all, Tavorin.history)
