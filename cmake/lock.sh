# shellcheck shell=bash
# The lock of a build directory is DIRECTORY/build.lock. Every tool that configures or builds takes the lock.

# lock FILE PROCESS: takes the lock FILE. If another process holds the lock, prints which process it is, and
# waits. Later callers that have to wait print the number PROCESS as the holder. The lock is held until this
# shell and all its child processes have ended.
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
