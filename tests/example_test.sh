#!/usr/bin/env bash
# example_test.sh HOST PHONE: the example of the documentation against the phone program: a session that
# the phone ends, one that the user interrupts, and one that the phone refuses.
set -uo pipefail

host=$1 phone_program=$2
work=$(mktemp -d)
phone=
finish() {
    [ -z "$phone" ] || kill "$phone" 2>/dev/null
    rm -rf "$work"
}
trap finish EXIT

fail() {
    echo "example_test: $*" >&2
    cat "$work"/*.log >&2
    exit 1
}

# start OPTIONS...: a phone with these options and the host in the background.
start() {
    rm -f "$work/port"
    "$phone_program" --listen 127.0.0.1:0 --port-file "$work/port" --once --max-seconds 60 "$@" \
        >"$work/phone.log" 2>&1 &
    phone=$!
    for ((i = 0; i < 600; ++i)); do
        [ ! -s "$work/port" ] || break
        kill -0 "$phone" 2>/dev/null || fail "the phone does not listen"
        sleep 0.05
    done
    "$host" 127.0.0.1 "$(cat "$work/port")" >"$work/host.log" 2>&1 &
    host_id=$!
}

# ends STATUS TEXT: how the host ends and what it says.
ends() {
    wait "$host_id"
    local status=$?
    wait "$phone"
    phone=
    [ "$status" -eq "$1" ] || fail "the host ended with status $status instead of $1"
    grep -qE -- "$2" "$work/host.log" || fail "the host does not say '$2'"
}

start --drop-after-frames 5
ends 0 '^minimal_host: 5 updates, [1-9][0-9]* pixels$'

start --stall frames --verbose
for ((i = 0; i < 600; ++i)); do
    ! grep -q FramebufferUpdateRequest "$work/phone.log" || break
    sleep 0.05
done
kill -INT "$host_id"
ends 1 '^minimal_host: 0 updates'

start --refuse init
ends 1 '^minimal_host: 0 updates'
