"""Installing: what lands where, and that the module finds its log monitor there."""

import os
import subprocess

import pytest

from harness import _sanitizer_environment
from monitor import SCRIPTED_DIR

BUILD = os.environ.get("TAVORIN_BUILD_DIR", "")


@pytest.fixture
def prefix(tmp_path):
    return tmp_path / "prefix"


def install(prefix, *options):
    subprocess.run(["cmake", "--install", BUILD, "--prefix", str(prefix), *options], check=True,
                   stdout=subprocess.DEVNULL)


def installed(prefix):
    return sorted(path.name for path in prefix.rglob("*") if path.is_file())


def import_from(prefix, library_path):
    """Import the installed module; returns the process."""
    (module,) = prefix.rglob("Tavorin.so")
    environment = dict(_sanitizer_environment(), PYTHONPATH=str(module.parent))
    if library_path:
        environment["LD_LIBRARY_PATH"] = library_path
    return subprocess.run([os.environ["TAVORIN_PYTHON"], "-c", "import Tavorin; print Tavorin"],
                          env=environment, capture_output=True, text=True)


def test_the_module_is_installed_without_the_stand_in(prefix):
    install(prefix)
    assert installed(prefix) == ["Tavorin.so"]
    without = import_from(prefix, "")
    assert without.returncode != 0 and "libVesker.so" in without.stderr
    with_platforms_own = import_from(prefix, SCRIPTED_DIR)
    assert with_platforms_own.returncode == 0, with_platforms_own.stderr


def test_the_stand_in_is_installed_beside_the_module_when_asked_for(prefix):
    install(prefix)
    install(prefix, "--component", "stand-in")
    assert installed(prefix) == ["Tavorin.so", "libVesker.so"]
    imported = import_from(prefix, "")
    assert imported.returncode == 0, imported.stderr
    assert str(prefix) in imported.stdout


def test_it_lands_where_the_interpreter_looks(prefix):
    install(prefix)
    (module,) = prefix.rglob("Tavorin.so")
    below = os.path.relpath(module.parent, prefix)
    path = subprocess.run([os.environ["TAVORIN_PYTHON"], "-c", "import sys; print '\\n'.join(sys.path)"],
                          capture_output=True, text=True, check=True).stdout.splitlines()
    assert any(folder.endswith("/" + below) for folder in path), (below, path)
