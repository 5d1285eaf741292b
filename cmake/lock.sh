# shellcheck shell=bash
# The lock of a build directory: DIRECTORY/build.lock, taken by everything that configures or builds it.

# lock FILE PROCESS: waits until no other process holds FILE, and prints for which it waits. PROCESS
# is who others are then said to wait for. Held until this shell and all that it starts have ended.
lock() {
    local descriptor words
    exec {descriptor}<>"$1"
    if ! flock --nonblock "$descriptor"; then
        printf '== waiting for %s, which holds %s\n' "$(head -n 1 "$1")" "$1" >&2
        flock "$descriptor"
    fi
    mapfile -d '' words <"/proc/$2/cmdline"
    printf 'process %s (%s)\n' "$2" "${words[*]}" >"$1"
}
