# shellcheck shell=bash
# The lock of a build directory is DIRECTORY/build.lock. Everything that configures or builds takes it.

# lock FILE PROCESS: waits until no other process holds the lock FILE, and prints which process holds it.
# Later callers that wait for the lock print the number PROCESS. The lock is held until this shell and all
# its child processes have ended.
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
