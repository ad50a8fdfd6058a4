# Sourced by the tests of whole programs: a directory for their files, an end that leaves no process behind,
# and waiting. Programs that run are in phone, unit and host; their logs are work/*.log.
# shellcheck shell=bash

# shellcheck source=tools/phone.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../tools/phone.sh"

work=$(mktemp -d)
phone='' unit='' host=''
finish() {
    local process
    for process in $phone $unit $host; do kill -- "$process" && kill -CONT -- "$process"; done 2>/dev/null
    rm -rf "$work"
}
trap finish EXIT

fail() {
    echo "${0##*/}: $*" >&2
    tail -n 60 "$work"/*.log 2>/dev/null | cut -c 1-240 >&2
    exit 1
}

# pause: a twentieth of a second, without a process of its own.
exec {silence}<> <(:)
pause() { read -rt 0.05 -u "$silence"; } 2>/dev/null

# eventually WHAT COMMAND...: waits until the command succeeds; WHAT is wrong if it never does. A test that waits
# for more than half a minute sets tries, twenty a second.
eventually() {
    local what=$1 i
    shift
    for ((i = 0; i < ${tries:-600}; ++i)); do
        ! "$@" >/dev/null 2>&1 || return 0
        pause
    done
    fail "$what"
}
