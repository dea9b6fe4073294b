"""Installing: what lands where, and that the module finds its log monitor there."""

import os
import pathlib
import subprocess

import pytest

from harness import Returned, sanitizer_environment
from monitor import SCRIPTED_DIR

BUILD = os.environ.get("TAVORIN_BUILD_DIR", "")
BUILD_FOLDER = pathlib.Path(BUILD)


@pytest.fixture(autouse=True)
def manifests():
    """Installing leaves lists in the build folder, for taking away what was installed; those that
    were there before are somebody's."""
    kept = {path: path.read_text() for path in BUILD_FOLDER.glob("install_manifest*.txt")}
    yield
    for path in BUILD_FOLDER.glob("install_manifest*.txt"):
        path.unlink()
    for path, text in kept.items():
        path.write_text(text)


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
    read_line_with(terminal, prefix)


def test_uninstalling_leaves_nothing(prefix):
    install(prefix)
    install(prefix, "--component", "stand-in")
    uninstall()
    assert list(prefix.rglob("*")) == []


def test_uninstalling_leaves_what_is_somebody_else_s(prefix):
    install(prefix)
    (module,) = prefix.rglob("Tavorin.so")
    other = module.parent / "other.py"
    other.write_text("")
    uninstall()
    assert [path for path in prefix.rglob("*") if path.is_file()] == [other]


# --- Packages

@pytest.fixture(scope="module")
def packages(tmp_path_factory):
    folder = tmp_path_factory.mktemp("packages")
    subprocess.run(["cpack", "--config", str(BUILD_FOLDER / "CPackConfig.cmake"), "-B", str(folder)],
                   check=True, stdout=subprocess.DEVNULL)
    return folder


def field(package, name):
    return subprocess.run(["dpkg", "-f", str(package), name], capture_output=True, text=True,
                          check=True).stdout.strip()


def test_a_tar_and_a_debian_package_of_each(packages):
    names = sorted(path.name for path in packages.glob("*.*"))
    assert [name.split("_")[0] for name in names if name.endswith(".deb")] == [
        "tavorin-stand-in", "tavorin"]
    assert [name.rsplit("-", 1)[1] for name in names if name.endswith(".tar.gz")] == [
        "module.tar.gz", "in.tar.gz"]


def test_the_packages_depend_on_what_they_need(packages):
    (module,) = packages.glob("tavorin_*.deb")
    depends = {name.split()[0] for name in field(module, "Depends").split(", ")}
    assert depends >= {"libc6", "libedit2"}
    if not sanitizer_environment():
        assert depends == {"libc6", "libedit2"}
    assert "python2.7" in field(module, "Suggests")


def test_what_the_debian_packages_hold_reads_a_line(terminal, packages, tmp_path):
    for package in packages.glob("*.deb"):
        subprocess.run(["dpkg", "-x", str(package), str(tmp_path / "root")], check=True)
    assert installed(tmp_path / "root") == ["Tavorin.so", "libVesker.so"]
    read_line_with(terminal, tmp_path / "root")


def test_what_the_tars_hold_reads_a_line(terminal, packages, tmp_path):
    (tmp_path / "root").mkdir()
    for package in packages.glob("*.tar.gz"):
        subprocess.run(["tar", "-xzf", str(package), "-C", str(tmp_path / "root")], check=True)
    assert installed(tmp_path / "root") == ["Tavorin.so", "libVesker.so"]
    read_line_with(terminal, tmp_path / "root")
