# shellcheck shell=bash
# Functions that ./run, ./test and the other scripts share. The functions that install, configure or create
# something print a message first, and skip work that is already done.

# shellcheck source=cmake/lock.sh
. "$PWD/cmake/lock.sh"

say() { printf '== %s\n' "$*"; }
stop() { printf 'error: %s\n' "$*" >&2; exit 1; }

# alone FILE COMMAND...: takes the lock FILE, runs the command, and releases the lock.
alone() (
    { mkdir -p -- "${1%/*}" && : >>"$1"; } 2>/dev/null ||
        stop "${1%/*} cannot be written; did another user build here?"
    lock "$1" $$
    shift
    "$@"
)

# Characters that CMake or Ninja cannot handle in a path, even in a quoted path.
unusable_in_paths='["\#;<>|[:cntrl:]]|[][]'
if [[ $PWD =~ $unusable_in_paths ]]; then
    stop "CMake cannot build in a directory whose path contains ${BASH_REMATCH[0]@Q}; move this one: ${PWD@Q}"
fi

need_terminal() {
    if ! [ -t 0 ] || ! [ -t 1 ]; then
        stop "standard input and output must be a terminal; start $0 in one"
    fi
}

missing_packages() {
    local package
    cat "$@" | grep -v '^#' | while read -r package; do
        [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] ||
            echo "$package"
    done
}

# install_packages LIST...: installs the packages in these list files that the system lacks.
install_packages() {
    command -v dpkg-query >/dev/null || stop "this needs a Debian system: dpkg is missing"
    [ -z "$(missing_packages "$@")" ] || alone build/packages.lock install_missing_packages "$@"
}

install_missing_packages() {
    local missing as_root=
    missing=$(missing_packages "$@" | tr '\n' ' ')
    [ -n "$missing" ] || return 0
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null ||
            stop "installing these missing packages needs root: $missing"
        as_root=sudo
    fi
    say "installing $missing"
    # Continue if the update fails, because the missing index may not be needed.
    $as_root apt-get update || say "apt-get update failed; trying with the lists that are already here"
    # shellcheck disable=SC2086 # split into arguments on purpose
    $as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends \
        -o DPkg::Lock::Timeout=600 $missing ||
        stop "apt-get could not install: $missing"
}

# is_configured PRESET: true if build/PRESET is completely configured, for this directory and with the
# preset's current settings. False if the build uses a meter's own client library, because its programs would
# run the utility's commands on this machine.
is_configured() {
    [ -f "build/$1/build.ninja" ] &&
        grep -qsx "CDS_ROOT:[A-Z]*=" "build/$1/CMakeCache.txt" &&
        grep -qsx "BUILD_TESTING:BOOL=ON" "build/$1/CMakeCache.txt" &&
        grep -qsFx "CMAKE_HOME_DIRECTORY:INTERNAL=$(pwd -P)" "build/$1/CMakeCache.txt" &&
        ! [ CMakePresets.json -nt "build/$1/build.ninja" ]
}

# build PRESET [TARGET...]: configures build/PRESET if necessary, then builds the targets there.
build() {
    alone "build/$1/build.lock" configure_and_build "$@"
}

configure_and_build() {
    local preset=$1
    shift
    if ! is_configured "$preset"; then
        say "configuring build/$preset"
        rm -rf "build/$preset/CMakeCache.txt" "build/$preset/CMakeFiles"
        cmake --preset "$preset" || stop "build/$preset could not be configured"
    fi
    say "building build/$preset"
    cmake --build --preset "$preset" ${1+--target "$@"} ||
        stop "the build of build/$preset failed"
}

# choose_meter START ARGUMENT...: sets `meter` to the absolute path of the meter. The path is DIR from
# "--meter DIR", or else $METER_SIM_DIR, or else build/meter. Sets the array `arguments` to the other
# arguments. A relative path is relative to START, the directory where the user started the script.
choose_meter() {
    local start=$1
    shift
    meter=${METER_SIM_DIR:-$PWD/build/meter}
    arguments=()
    while [ $# -gt 0 ]; do
        if [ "$1" = --meter ]; then
            [ -n "${2-}" ] || stop "--meter needs the directory of a meter"
            meter=$2
            shift
        else
            arguments+=("$1")
        fi
        shift
    done
    case $meter in /*) ;; *) meter=$start/$meter ;; esac
    meter=$(realpath -m -- "$meter")
}

# make_meter DIR: creates a simulated meter with the factory defaults, unless DIR already has one.
make_meter() {
    alone build/meter.lock make_missing_meter "$1"
}

make_missing_meter() {
    [ -f "$1/store.toml" ] && return
    say "creating a simulated meter in $1"
    build/host/cdsctl init "$1" || stop "$1 could not be created"
}
