# shellcheck shell=bash
# shellcheck disable=SC2034  # much of what is set here is for the scripts to use
#
# What the scripts of this folder share: the exit statuses, the messages, the
# installing of Debian packages and the choosing of a Python 2.7. It is sourced,
# never run. All its messages go to stderr, so that a script keeps its stdout.
#
# A function that cannot do its work ends the script with one of the statuses
# below; no caller needs to look at what it returned.

ROOT=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd -P)
readonly ROOT

# What a script was called with decides its name in the messages.
SCRIPT=$(basename -- "$0")
readonly SCRIPT

# The exit statuses of all scripts (1 is a failed build or a failed test).
readonly STATUS_FAILED=1
readonly STATUS_USAGE=2      # called with an argument that it does not know
readonly STATUS_NOT_ROOT=3   # packages are missing, and this user cannot install
readonly STATUS_APT=4        # apt could not install the packages
readonly STATUS_PYTHON=5     # PYTHON names no usable Python 2.7
readonly STATUS_NO_PYTHON=6  # no Python 2.7 here, and none could be fetched
readonly STATUS_NO_DEBIAN=7  # this system has no dpkg or no apt

# What building and running the extension needs.
readonly RUN_PACKAGES=(g++ cmake ninja-build libedit-dev libncurses-dev)

# The libraries of the programs that measure.
readonly BENCH_LIBRARIES=(libreadline-dev libbenchmark-dev)

# What the tests need besides: the second compiler, the libraries of the C++
# tests, what drives and reads a terminal, what locales are built of, the terminal
# descriptions, what finds the dependencies of a Debian package, and what counts
# instructions. The benchmarks are compiled, too.
readonly TEST_PACKAGES=("${RUN_PACKAGES[@]}" clang libclang-rt-14-dev libgtest-dev libgmock-dev
  "${BENCH_LIBRARIES[@]}" python3 python3-pytest python3-pyte
  locales ncurses-bin ncurses-base ncurses-term dpkg-dev file tmux valgrind)

# What measuring needs besides: what the module is compared with, and what counts
# system calls and instructions.
readonly BENCH_PACKAGES=("${RUN_PACKAGES[@]}" "${BENCH_LIBRARIES[@]}"
  python3 python3-prompt-toolkit strace valgrind)

# What reads, counts and watches the code needs besides.
readonly TOOL_PACKAGES=("${TEST_PACKAGES[@]}" gcovr
  clang-format clang-tidy cppcheck shellcheck)

# The private Python 2.7: the folder of all that belongs to it, the tree that it
# is unpacked into, and the release and packages of Debian that it is made of.
readonly PRIVATE_FOLDER=$ROOT/.python2.7
readonly PRIVATE_PYTHON=$PRIVATE_FOLDER/tree/usr/bin/python2.7
readonly PRIVATE_RELEASE=bullseye
readonly PRIVATE_PACKAGES=(python2.7-minimal python2.7 libpython2.7-minimal
  libpython2.7-stdlib libpython2.7 libpython2.7-dev python2.7-dev
  libffi7 libssl1.1)
readonly DEBIAN_KEYRING=/usr/share/keyrings/debian-archive-keyring.gpg

# Tells the user something, on stderr.
say() {
  printf '%s: %s\n' "$SCRIPT" "$*" >&2
}

# die STATUS MESSAGE: ends the script with that status.
die() {
  local status=$1
  shift
  say "$*"
  exit "$status"
}

# quietly COMMAND...: runs the command without an input and shows what it wrote
# only if it fails. Returns the command's status. The file that keeps the output
# has no name any more while the command runs, so nothing can leave it behind.
quietly() {
  local file log status=0
  file=$(mktemp)
  exec {log}<>"$file"
  rm -f -- "$file"
  "$@" </dev/null >&"$log" 2>&1 || status=$?
  if ((status != 0)); then
    cat -- "/dev/fd/$log" >&2
  fi
  exec {log}>&-
  return "$status"
}

# ---------------------------------------------------------------------------
# Debian packages

# Prints those of the named packages that are not installed. It only reads
# dpkg's database, so a call where nothing is missing costs next to nothing.
missing_packages() {
  local installed package
  installed=$(dpkg-query -W -f '${Package} ${db:Status-Status}\n' "$@" \
    2>/dev/null || true)
  for package in "$@"; do
    grep -qxF -- "$package installed" <<<"$installed" || printf '%s\n' "$package"
  done
}

# Tells whether there is a terminal on which a password can be asked for.
has_terminal() {
  { : </dev/tty; } 2>/dev/null
}

# Tells whether as_root can work, asking for the password of sudo where there is
# a terminal to ask on.
can_be_root() {
  if ((EUID == 0)); then
    return 0
  fi
  command -v sudo >/dev/null || return 1
  sudo -n true 2>/dev/null && return 0
  has_terminal && sudo -v
}

# as_root COMMAND...: runs the command as root, and with nothing that would ask
# a question.
as_root() {
  local prefix=()
  ((EUID == 0)) || prefix=(sudo)
  "${prefix[@]}" env DEBIAN_FRONTEND=noninteractive "$@"
}

# install_packages PACKAGE...: installs those that are missing.
install_packages() {
  local missing
  if ! type -P dpkg-query apt-get >/dev/null; then
    die "$STATUS_NO_DEBIAN" "no dpkg-query or apt-get here; this installs packages of Debian only: $*"
  fi
  mapfile -t missing < <(missing_packages "$@")
  ((${#missing[@]} > 0)) || return 0

  can_be_root ||
    die "$STATUS_NOT_ROOT" "these packages are missing, and neither root nor sudo is at hand to install them: ${missing[*]}"

  # A source that cannot be read need not be one that these packages come from,
  # so what counts is whether they can be installed.
  say "reading apt's lists of packages"
  quietly as_root apt-get -q update ||
    say "apt-get update failed; trying to install with the lists that are there"

  say "installing ${missing[*]}"
  quietly as_root apt-get -q -y -o Dpkg::Use-Pty=0 -o DPkg::Lock::Timeout=600 \
    install --no-install-recommends "${missing[@]}" ||
    die "$STATUS_APT" "apt-get could not install: ${missing[*]}"
}

# ---------------------------------------------------------------------------
# Python 2.7

# What check_python has an interpreter run, whatever version it is of.
readonly CHECK_PYTHON='
import os, sys
def refuse(why):
    sys.stdout.write(why + "\n")
    sys.exit(1)
if sys.version_info[:2] != (2, 7):
    refuse("it is Python %d.%d" % sys.version_info[:2])
try:
    from distutils import sysconfig
except ImportError:
    refuse("it has no distutils, which tells where its headers are")
for header in (os.path.join(sysconfig.get_python_inc(), "Python.h"),
               sysconfig.get_config_h_filename()):
    if not os.path.isfile(header):
        refuse("its headers are not installed: there is no " + header)
sys.stdout.write(sys.executable + "\n")
'

# check_python COMMAND: prints the path of the interpreter if it is a Python 2.7
# that an extension can be built for, otherwise prints why not and returns 1.
# Only running it shows that: a command python2.7 may be a stand-in of a version
# manager which has no Python 2.7, and headers are often a package of their own.
# Nothing is written, so that the tree of an interpreter stays as it was made.
check_python() {
  local output
  if output=$(timeout 30 "$1" -B -c "$CHECK_PYTHON" </dev/null 2>&1); then
    tail -n 1 <<<"$output"
  else
    head -n 1 <<<"${output:-it gave no answer}"
    return 1
  fi
}

# The same for the private one, whose libraries the tests need as well.
check_private_python() {
  [[ -x $1 ]] && check_python "$1" >/dev/null &&
    LD_LIBRARY_PATH=$(python_libraries "$1") \
      "$1" -B -c 'import ctypes, ssl, termios' </dev/null 2>/dev/null
}

# python_libraries INTERPRETER: prints the folder of the shared libraries that
# came with the private Python (none of the system's ctypes and ssl fit it), and
# nothing for another one. The interpreter itself runs without them.
python_libraries() {
  local folder
  case $1 in
  "$PRIVATE_FOLDER"/*)
    for folder in "${1%/bin/python2.7}"/lib/*-linux-gnu*; do
      printf '%s\n' "$folder"
    done
    ;;
  esac
}

# choose_python: sets CHOSEN_PYTHON to the absolute path of the Python 2.7 to
# build for and to run with: the one that PYTHON names, else one on the PATH,
# else the private one, which is fetched if it is not there yet.
choose_python() {
  local candidate found
  if [[ -n ${PYTHON-} ]]; then
    found=$(type -P -- "$PYTHON") ||
      die "$STATUS_PYTHON" "PYTHON=$PYTHON is no command that can be run"
    if ! candidate=$(check_python "$found"); then
      die "$STATUS_PYTHON" "PYTHON=$PYTHON is no Python 2.7 that an extension can be built for: $candidate"
    fi
    # The path as given, not what the interpreter takes itself for: it may be a
    # script that sets up what the interpreter needs.
    CHOSEN_PYTHON=$(cd -- "$(dirname -- "$found")" && pwd)/$(basename -- "$found")
    return
  fi

  # The interpreter's own path, not that of the command: a stand-in of a version
  # manager means another interpreter in another folder.
  while IFS= read -r candidate; do
    if found=$(check_python "$candidate") && [[ -x $found ]]; then
      CHOSEN_PYTHON=$found
      return
    fi
  done < <(type -aP python2.7 python2 || true)

  # Being there is enough here: it is checked before it gets its name.
  [[ -x $PRIVATE_PYTHON ]] || fetch_private_python
  CHOSEN_PYTHON=$PRIVATE_PYTHON
}

# debian_mirrors FOLDER: prints the URIs of the Debian mirrors that this machine
# uses, the likeliest first. apt itself reads its source lists, of whatever
# format and with whatever options; FOLDER is for what it writes meanwhile.
# Other archives are left out by the names of their releases and sections; if
# one slips through, the signature that is asked for later refuses it.
debian_mirrors() {
  local codename uris
  codename=$(. /etc/os-release && printf '%s' "${VERSION_CODENAME-}")
  mkdir -p -- "$1/lists/partial" "$1/archives/partial"
  uris=$(apt-get -o Dir::State::lists="$1/lists" -o Dir::Cache="$1" \
    --print-uris update 2>/dev/null |
    sed -nE "s,^'(.*)/dists/(${codename:-stable}|stable|oldstable|testing|unstable|sid)/main/binary-.*,\1,p" |
    { grep -v '^cdrom:' || true; })
  {
    grep -E '/debian$' <<<"$uris" || true
    printf '%s\n' "$uris"
  } | awk 'NF && !seen[$0]++'
}

# apt_folder FOLDER URI: writes what apt needs to work in FOLDER only, as any
# user, with that one mirror, and to take nothing that Debian has not signed.
# What else the machine's apt is set to (a proxy, say) stays as it is.
apt_folder() {
  mkdir -p -- "$1/lists/partial" "$1/cache/archives/partial"
  : >"$1/status"
  printf 'deb [signed-by=%s] %s %s main\n' \
    "$DEBIAN_KEYRING" "$2" "$PRIVATE_RELEASE" >"$1/sources.list"
  cat >"$1/apt.conf" <<END
Dir::Etc::sourcelist "$1/sources.list";
Dir::Etc::sourceparts "/dev/null";
Dir::Etc::preferences "/dev/null";
Dir::Etc::preferencesparts "/dev/null";
Dir::State::lists "$1/lists";
Dir::State::status "$1/status";
Dir::Cache "$1/cache";
Acquire::AllowInsecureRepositories "false";
Acquire::AllowWeakRepositories "false";
Acquire::Languages "none";
Acquire::Retries "2";
APT::Get::AllowUnauthenticated "false";
APT::Update::Error-Mode "any";
#clear APT::Default-Release;
#clear APT::Update::Pre-Invoke;
#clear APT::Update::Post-Invoke;
#clear APT::Update::Post-Invoke-Success;
END
  # apt, run by root, downloads as a user of its own, who may not write here.
  if ((EUID == 0)); then
    printf 'APT::Sandbox::User "root";\n' >>"$1/apt.conf"
  fi
}

# download_python FOLDER: downloads the packages of the private Python into
# FOLDER/packages, from the first mirror that has them.
download_python() {
  local mirrors mirror
  if [[ -n ${TAVORIN_DEBIAN_MIRROR-} ]]; then
    mirrors=("$TAVORIN_DEBIAN_MIRROR")
  else
    mapfile -t mirrors < <(debian_mirrors "$1/machine")
  fi
  ((${#mirrors[@]} > 0)) ||
    die "$STATUS_NO_PYTHON" "apt's source lists name no Debian mirror to fetch Python 2.7 from; set TAVORIN_DEBIAN_MIRROR to the URI of one, or PYTHON to a Python 2.7"

  mkdir -p -- "$1/packages"
  for mirror in "${mirrors[@]}"; do
    say "fetching Python 2.7 (Debian's packages of $PRIVATE_RELEASE) from $mirror"
    apt_folder "$1/apt" "$mirror"
    if quietly apt-get -q -c "$1/apt/apt.conf" update &&
      (cd -- "$1/packages" && quietly apt-get -q -c "$1/apt/apt.conf" \
        download "${PRIVATE_PACKAGES[@]}"); then
      return 0
    fi
    rm -rf -- "$1/apt"
  done
  die "$STATUS_NO_PYTHON" "Python 2.7 could not be fetched: is the network there, and has the mirror $PRIVATE_RELEASE? TAVORIN_DEBIAN_MIRROR can name another one, PYTHON a Python 2.7 that is here"
}

# unpack_python FOLDER: unpacks FOLDER/packages into FOLDER/tree and changes the
# few files there that take the packages to be installed in the system itself.
unpack_python() {
  local package file
  mkdir -- "$1/tree"
  for package in "$1"/packages/*.deb; do
    dpkg -x "$package" "$1/tree"
  done

  # A link to a file of the system's.
  rm -f -- "$1/tree/usr/lib/python2.7/sitecustomize.py"

  # distutils tells where the headers are from what is written down here; let it
  # be where this tree is.
  for file in "$1"/tree/usr/lib/python2.7/plat-*/_sysconfigdata_nd.py; do
    cat >>"$file" <<'END'
import sys as _sys
for _name in ('INCLUDEPY', 'CONFINCLUDEPY'):
    if build_time_vars[_name].startswith('/usr/'):
        build_time_vars[_name] = _sys.prefix + build_time_vars[_name][4:]
END
  done

  # This header only includes the one of the processor at hand, by a path that
  # the compiler knows in the system's folders only.
  for file in "$1"/tree/usr/include/*/python2.7/pyconfig.h; do
    cp -- "$file" "$1/tree/usr/include/python2.7/pyconfig.h"
  done
}

# Makes the private Python. Everything is made in a folder of another name, so
# the tree is either complete or not there, and runs at the same time wait for
# one another. In a subshell, which gives the lock back and has its own traps;
# where something fails there, it ends, and this script with the same status.
fetch_private_python() {
  if ! type -P dpkg apt-get >/dev/null; then
    die "$STATUS_NO_DEBIAN" "no dpkg or apt-get here to fetch Python 2.7 with; set PYTHON to one"
  fi
  [[ -r $DEBIAN_KEYRING ]] ||
    die "$STATUS_NO_PYTHON" "$DEBIAN_KEYRING, which the signature of Python 2.7's packages is checked with, is missing; set PYTHON to a Python 2.7"
  mkdir -p -- "$PRIVATE_FOLDER" 2>/dev/null || true
  [[ -w $PRIVATE_FOLDER ]] ||
    die "$STATUS_NO_PYTHON" "$PRIVATE_FOLDER, which Python 2.7 is fetched into, cannot be written"

  (
    exec {lock}>"$PRIVATE_FOLDER/lock"
    if ! flock -n "$lock"; then
      say "waiting for another run, which fetches Python 2.7"
      flock "$lock"
    fi
    ! check_private_python "$PRIVATE_PYTHON" || exit 0

    # What a run that was killed has left.
    rm -rf -- "$PRIVATE_FOLDER"/fetch.*
    work=$(mktemp -d -- "$PRIVATE_FOLDER/fetch.XXXXXX")
    trap 'rm -rf -- "$work"' EXIT
    trap 'exit 129' HUP
    trap 'exit 130' INT
    trap 'exit 143' TERM

    download_python "$work"
    unpack_python "$work"
    check_private_python "$work/tree/usr/bin/python2.7" ||
      die "$STATUS_NO_PYTHON" "the Python 2.7 that was fetched does not run on this machine"
    [[ ! -e $PRIVATE_FOLDER/tree ]] || mv -- "$PRIVATE_FOLDER/tree" "$work/old"
    mv -- "$work/tree" "$PRIVATE_FOLDER/tree"
    say "Python 2.7 is in $PRIVATE_FOLDER"
  )
}

# ---------------------------------------------------------------------------
# Building

# cached BUILD_FOLDER NAME: prints what CMake has stored under that name, if it
# has.
cached() {
  local file=$1/CMakeCache.txt
  [[ ! -e $file ]] || sed -n "s,^$2:[^=]*=,,p" "$file"
}

# build_preset PRESET BUILD_FOLDER TESTS [TARGET...]: configures and builds that
# preset for CHOSEN_PYTHON, the named targets only if there are some. TESTS is ON
# or OFF: whether there are tests among the targets. Says nothing but what fails,
# and returns 1 then. Runs at the same time wait for one another.
#
# CMake is asked each time, which is quick when nothing has changed. What it has
# stored about another Python, or for a copy of this folder elsewhere, does not
# fit any more: then it starts afresh.
build_preset() {
  local preset=$1 folder=$2 tests=$3 fresh=()
  shift 3
  if [[ -e $folder/CMakeCache.txt &&
    ($(cached "$folder" TAVORIN_PYTHON) != "$CHOSEN_PYTHON" ||
    $(cached "$folder" CMAKE_HOME_DIRECTORY) != "$ROOT") ]]; then
    fresh=(--fresh)
  fi
  # shellcheck disable=SC2094  # the folder is only locked, not read
  (
    flock 9
    quietly cmake -S "$ROOT" --preset "$preset" "${fresh[@]}" \
      "-DTAVORIN_PYTHON=$CHOSEN_PYTHON" "-DTAVORIN_TESTS=$tests" &&
      quietly cmake --build "$folder" "${@/#/--target=}"
  ) 9<"$ROOT" || return 1
}

# build_for_use: installs what building needs, and builds build/Tavorin.so. The
# tests are not built, as their libraries may not be installed; but where they
# have been set up in that folder, they stay so.
build_for_use() {
  local tests
  install_packages "${RUN_PACKAGES[@]}"
  choose_python
  say "building build/Tavorin.so for $CHOSEN_PYTHON"
  tests=$(cached "$ROOT/build" TAVORIN_TESTS)
  build_preset release "$ROOT/build" "${tests:-OFF}" Tavorin ||
    die "$STATUS_FAILED" "the build failed"
}
