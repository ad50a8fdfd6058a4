#!/usr/bin/env bash
# links_example_test.sh BUILD: the programs of docs/links.md against the phone program.
set -uo pipefail

build=$1
work=$(mktemp -d)
phone='' host=''
finish() {
    for process in $phone $host; do kill "$process" 2>/dev/null; done
    rm -rf "$work"
}
trap finish EXIT

fail() {
    echo "links_example_test: $*" >&2
    tail -n 40 "$work"/*.log >&2
    exit 1
}

# until_said COUNT TEXT FILE: waits until so many lines of the log have the text.
until_said() {
    for ((i = 0; i < 600; ++i)); do
        [ "$(grep -cE -- "$2" "$work/$3" 2>/dev/null)" -lt "$1" ] || return 0
        sleep 0.05
    done
    fail "$3 does not say '$2' $1 times"
}

start_phone() {
    rm -f "$work/socket"
    "$build/phone/quarlo-phone" --unix "$work/socket" --once --max-seconds 60 "$@" \
        >"$work/phone.log" 2>&1 &
    phone=$!
    for ((i = 0; i < 600; ++i)); do
        [ ! -S "$work/socket" ] || return 0
        sleep 0.05
    done
    fail "the phone does not listen"
}

# The session finds no phone, then one that goes, then another one.
"$build/examples/links_host" unix "$work/socket" >"$work/host.log" 2>&1 &
host=$!
until_said 1 'cannot connect to .*: No such file or directory; next try in' host.log
start_phone --drop-after-frames 5
until_said 1 '^running$' host.log
wait "$phone"
until_said 1 '^(the phone|connection lost).*; next try in' host.log
start_phone --verbose
until_said 2 '^running$' host.log
kill -USR1 "$host"
until_said 1 'DayNightMode' phone.log
kill -HUP "$host"
until_said 3 '^connecting, attempt 1$' host.log
kill -INT "$host"
wait "$host"
status=$?
host=''
[ "$status" -eq 0 ] || fail "links_host ended with status $status"
until_said 1 '^stopped$' host.log
until_said 1 '^links_host: [1-9][0-9]* updates$' host.log
wait "$phone"

# One link ends with its phone, and says why.
start_phone --drop-at-stage init
"$build/examples/links_attach" unix "$work/socket" >"$work/attach.log" 2>&1 ||
    fail "links_attach ended with status $?"
until_said 1 '^links_attach: the phone (closed|reset) the connection, [1-9][0-9]* bytes received' \
    attach.log
wait "$phone"
phone=''
rm -f "$work/socket"
"$build/examples/links_attach" unix "$work/socket" >"$work/attach.log" 2>&1
[ $? -eq 1 ] || fail "links_attach finds a phone that is not there"
until_said 1 '^links_attach: cannot connect to' attach.log
