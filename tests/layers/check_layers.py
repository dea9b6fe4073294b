#!/usr/bin/env python3
"""Checks that the files of src/ stand on each other in one order.

    check_layers.py OBJECT...

An object file is that of src/FOLDER/GROUP/NAME.cc. One file uses another when it calls it or uses a
variable of it, by what nm tells of the object files, or includes its header. It may use its own group
and those before it in ORDER, and no two files may use each other, directly or through others. The
module, src/Cli, uses the layer, src/editline, through one header. Prints what is wrong, with the names
that lead from file to file; exit status 1 then.
"""

import collections
import pathlib
import re
import subprocess
import sys

SRC = pathlib.Path(__file__).resolve().parents[2] / "src"

# What has no group, directly in the folder, comes last.
ORDER = {
    "editline": ["base", "screen", "input", "commands", ""],
    "Cli": ["base", "history", "input", "keys", "calls", ""],
}
DOOR = "editline/readline.h"


def symbols(object_file):
    """The names that the object file defines for others, and those that it needs."""
    defined, needed = set(), set()
    for line in subprocess.run(["nm", "-P", object_file], check=True, capture_output=True,
                               text=True).stdout.splitlines():
        name, kind = line.split()[:2]
        if kind == "U":
            needed.add(name)
        elif kind in "TDBRVW":
            defined.add(name)
    return defined, needed


def source_of(object_file):
    return re.search(r"src/(.*)\.cc\.o$", object_file).group(1)


def uses_by_symbols(objects):
    known = {source_of(name): symbols(name) for name in objects}
    owner = {name: source for source, (defined, _) in known.items() for name in defined}
    uses = collections.defaultdict(dict)
    for source, (_, needed) in known.items():
        for name in needed & owner.keys():
            if owner[name] != source:
                uses[source][owner[name]] = name
    return uses


def includes():
    """(source, included) for each include of a header below src/."""
    for path in sorted(SRC.rglob("*.cc")) + sorted(SRC.rglob("*.h")):
        for header in re.findall(r'#include "((?:editline|Cli)/[^"]+)\.h"', path.read_text()):
            yield path.relative_to(SRC).with_suffix("").as_posix(), header


def place(source):
    folder, *groups, _ = source.split("/")
    return folder, ORDER[folder].index("/".join(groups))


def wrong_direction(source, used):
    (folder, rank), (used_folder, used_rank) = place(source), place(used)
    return folder == used_folder and used_rank > rank


def circle(uses):
    """A list of files in which each uses the next and the last the first, or nothing."""
    done, path = set(), []

    def visit(source):
        if source in path:
            return path[path.index(source):]
        if source in done:
            return []
        path.append(source)
        for used in sorted(uses.get(source, ())):
            if found := visit(used):
                return found
        done.add(path.pop())
        return []

    return next(filter(None, map(visit, sorted(uses))), [])


def problems(objects):
    uses = uses_by_symbols(objects)
    for source, used in includes():
        if source != used:
            uses[source].setdefault(used, "#include")
        if source.startswith("Cli/") and used.startswith("editline/") and used + ".h" != DOOR:
            yield f"{source} includes {used}.h; the module uses {DOOR} alone"
    for source in sorted(uses):
        for used, name in sorted(uses[source].items()):
            if wrong_direction(source, used):
                yield f"{source} uses {used}, which comes after it ({name})"
            if source.startswith("editline/") and used.startswith("Cli/"):
                yield f"{source} uses {used}, which is the module's ({name})"
    found = circle(uses)
    for source, used in zip(found, found[1:] + found[:1]):
        yield f"in a circle: {source} uses {used} ({uses[source][used]})"


def main(objects):
    missing = {path.relative_to(SRC).with_suffix("").as_posix() for path in SRC.rglob("*.cc")} - {
        source_of(name) for name in objects}
    found = [f"no object file of {source}" for source in sorted(missing)] + list(problems(objects))
    print("\n".join(found) or f"{len(objects)} files in order")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
