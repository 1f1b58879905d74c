# shellcheck shell=bash disable=SC2034
# Sourced by the other scripts: says what is being done, and how long it took.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# step <title> <command> [<argument>...]: runs the command; a failure ends the script.
step() {
    local title=$1 status=0
    shift
    printf '==> %s\n' "$title"
    local began=$SECONDS
    "$@" || status=$?
    if ((status != 0)); then
        printf '==> %s: failed after %d s (status %d)\n' "$title" $((SECONDS - began)) "$status" >&2
        exit "$status"
    fi
    printf '==> %s: %d s\n' "$title" $((SECONDS - began))
}
