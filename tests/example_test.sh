#!/usr/bin/env bash
# example_test.sh BUILD: the example of the documentation against the phone program: a session that
# the phone ends, one that the user interrupts, and one that the phone refuses.
set -uo pipefail

# shellcheck source=tests/support/programs.sh
. "$(dirname "$0")/support/programs.sh"

build=$1

# start OPTIONS...: a phone with these options and the host in the background.
start() {
    start_phone "$build" "$work" --once --max-seconds 60 "$@"
    "$build/examples/minimal_host" "${address%:*}" "${address#*:}" >"$work/host.log" 2>&1 &
    host=$!
}

# ends STATUS TEXT: how the host ends and what it says.
ends() {
    wait "$host"
    local status=$?
    wait "$phone"
    host='' phone=''
    [ "$status" -eq "$1" ] || fail "the host ended with status $status instead of $1"
    grep -qE -- "$2" "$work/host.log" || fail "the host does not say '$2'"
}

start --drop-after-frames 5
ends 0 '^minimal_host: 5 updates, [1-9][0-9]* pixels$'

start --stall frames --verbose
eventually "no frame is asked for" grep -q FramebufferUpdateRequest "$work/phone.log"
kill -INT "$host"
ends 1 '^minimal_host: 0 updates'

start --refuse init
ends 1 '^minimal_host: 0 updates'
