"""Locales that no system has ready: built once for a run of tests, in a folder for LOCPATH."""

import shutil
import subprocess

import pytest

# Those of single bytes, by encoding: the locale, and what it is made of.
EIGHT_BIT = {
    "ISO-8859-1": ("de_DE.ISO-8859-1", "de_DE"),
    "ISO-8859-15": ("de_DE.ISO-8859-15", "de_DE"),
    "KOI8-R": ("ru_RU.KOI8-R", "ru_RU"),
}

# One whose numbers have a comma.
COMMA = ("de_DE.UTF-8", "de_DE", "UTF-8")


def _build(folder, name, source, charmap):
    if shutil.which("localedef") is None:
        pytest.skip("localedef is missing")
    done = subprocess.run(["localedef", "-i", source, "-f", charmap, str(folder / name)],
                          stdin=subprocess.DEVNULL, capture_output=True, text=True)
    if not (folder / name / "LC_CTYPE").exists():
        pytest.skip("localedef cannot build %s: %s" % (name, done.stderr.strip()))


@pytest.fixture(scope="session")
def locale_folder(tmp_path_factory):
    """The folder with all of them."""
    folder = tmp_path_factory.mktemp("locales")
    for charmap, (name, source) in EIGHT_BIT.items():
        _build(folder, name, source, charmap)
    _build(folder, *COMMA)
    return str(folder)
