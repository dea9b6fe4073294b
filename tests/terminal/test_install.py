"""Installing: what lands where, and that the module finds its log monitor there."""

import os
import pathlib
import re
import subprocess

import pytest

from harness import Returned, sanitizer_environment
from monitor import SCRIPTED_DIR

BUILD = os.environ.get("TAVORIN_BUILD_DIR", "")
SOURCE = pathlib.Path(__file__).resolve().parents[2]


@pytest.fixture(autouse=True)
def record(tmp_path, monkeypatch):
    """What is installed here is recorded here; the build folder's record is somebody's."""
    monkeypatch.setenv("TAVORIN_INSTALL_RECORD", str(tmp_path / "record"))
    return tmp_path / "record"


@pytest.fixture
def prefix(tmp_path):
    (tmp_path / "prefix").mkdir()
    return tmp_path / "prefix"


def install(prefix, *options):
    subprocess.run(["cmake", "--install", BUILD, "--prefix", str(prefix), *options], check=True,
                   stdout=subprocess.DEVNULL)


def installed(prefix):
    return sorted(path.name for path in prefix.rglob("*") if path.is_file())


def import_from(prefix, library_path):
    """Import the installed module; returns the process."""
    (module,) = prefix.rglob("Tavorin.so")
    environment = dict(sanitizer_environment(), PYTHONPATH=str(module.parent))
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


def configured_prefix(folder, *options, python=None):
    """Configure a build; returns where it installs unless it is told where."""
    subprocess.run(["cmake", "-S", SOURCE, "-B", folder, "-G", "Ninja", "-DTAVORIN_TESTS=OFF",
                    "-DTAVORIN_PYTHON=%s" % (python or os.environ["TAVORIN_PYTHON"]), *options],
                   check=True, stdout=subprocess.DEVNULL)
    (line,) = re.findall(r"^CMAKE_INSTALL_PREFIX:PATH=(.*)$",
                         (folder / "CMakeCache.txt").read_text(), re.M)
    return line


def test_unless_told_where_it_lands_where_the_interpreter_looks(prefix, tmp_path):
    default = configured_prefix(tmp_path / "build")
    install(prefix)
    (module,) = prefix.rglob("Tavorin.so")
    folder = os.path.join(default, os.path.relpath(module.parent, prefix))
    path = subprocess.run([os.environ["TAVORIN_PYTHON"], "-c", "import sys; print '\\n'.join(sys.path)"],
                          capture_output=True, text=True, check=True).stdout.splitlines()
    assert folder in path


def test_another_interpreter_has_another_prefix(tmp_path):
    build = tmp_path / "build"
    first = configured_prefix(build)
    headers = subprocess.run(
        [os.environ["TAVORIN_PYTHON"], "-c",
         "from distutils import sysconfig; print sysconfig.get_python_inc()"],
        capture_output=True, text=True, check=True).stdout.strip()
    other = tmp_path / "other-python"
    other.write_text("#!/bin/sh\nprintf %%s '%s;lib/modules;/other'\n" % headers)
    other.chmod(0o755)
    assert configured_prefix(build, python=other) == "/other" != first
    assert configured_prefix(build, "-DCMAKE_INSTALL_PREFIX=/given") == "/given"
    assert configured_prefix(build, python=other) == "/given"


# --- From an empty prefix to a line, and back

def read_line_with(terminal, folder):
    """Read a line with the module that lies below `folder`."""
    (module,) = folder.rglob("Tavorin.so")
    child = os.path.join(os.path.dirname(os.path.abspath(__file__)), "child")
    shell = terminal(variables={"PYTHONPATH": os.pathsep.join([child, str(module.parent)])})
    assert shell.do("Tavorin.__file__") == str(module)
    shell.begin_line("sh ver")
    shell.type("<left>X<enter>")
    assert shell.outcome() == Returned("sh veXr")
    shell.assert_settings_as_before()


def uninstall():
    subprocess.run(["cmake", "--build", BUILD, "--target", "uninstall"], check=True,
                   stdout=subprocess.DEVNULL)


def test_what_is_installed_reads_a_line(terminal, prefix):
    install(prefix)
    install(prefix, "--component", "stand-in")
    assert installed(prefix) == ["Tavorin.so", "libVesker.so"]
    read_line_with(terminal, prefix)


def test_uninstalling_leaves_nothing(tmp_path):
    """Not even of a prefix that the install made, nor of an earlier install elsewhere."""
    for folder in ("one", "twoü 2"):
        install(tmp_path / folder / "prefix")
        install(tmp_path / folder / "prefix", "--component", "stand-in")
    uninstall()
    assert list(tmp_path.iterdir()) == []
    uninstall()


def test_uninstalling_leaves_what_was_there_and_what_is_somebody_else_s(prefix):
    (prefix / "lib").mkdir()
    install(prefix)
    uninstall()
    assert list(prefix.rglob("*")) == [prefix / "lib"]
    install(prefix)
    (module,) = prefix.rglob("Tavorin.so")
    other = module.parent / "other.py"
    other.write_text("")
    uninstall()
    assert [path for path in prefix.rglob("*") if path.is_file()] == [other]


def test_what_is_installed_into_a_stage_is_uninstalled_there(tmp_path, monkeypatch):
    monkeypatch.setenv("DESTDIR", str(tmp_path / "stage"))
    install("/prefix")
    monkeypatch.delenv("DESTDIR")
    assert installed(tmp_path / "stage" / "prefix") == ["Tavorin.so"]
    uninstall()
    assert list(tmp_path.iterdir()) == []


def test_what_the_packages_hold_reads_a_line(terminal, tmp_path, record):
    packages, root = tmp_path / "packages", tmp_path / "root"
    subprocess.run(["cpack", "--config", os.path.join(BUILD, "CPackConfig.cmake"), "-B", str(packages)],
                   check=True, stdout=subprocess.DEVNULL)
    assert not record.exists(), "packing is no installing"
    for package in packages.glob("*.deb"):
        subprocess.run(["dpkg", "-x", str(package), str(root)], check=True)
    assert installed(root) == ["Tavorin.so", "libVesker.so"]
    read_line_with(terminal, root)
    (module,) = packages.glob("tavorin_*.deb")
    assert "libedit2" in subprocess.run(["dpkg", "-f", str(module), "Depends"], capture_output=True,
                                        text=True, check=True).stdout
