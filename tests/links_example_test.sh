#!/usr/bin/env bash
# links_example_test.sh BUILD: the programs of docs/links.md against the phone program.
set -uo pipefail

# shellcheck source=tests/support/programs.sh
. "$(dirname "$0")/support/programs.sh"

build=$1

# until_said COUNT TEXT FILE: waits until so many lines of the log have the text.
said() { [ "$(grep -cE -- "$2" "$work/$3")" -ge "$1" ]; }
until_said() { eventually "$3 does not say '$2' $1 times" said "$@"; }

start_phone() {
    rm -f "$work/socket" "$work/phone.log"
    "$build/phone/quarlo-phone" --unix "$work/socket" --once --max-seconds 60 "$@" \
        >"$work/phone.log" 2>&1 &
    phone=$!
    eventually "the phone does not listen" grep -q '^listening' "$work/phone.log"
}

# The session finds no phone, then one that goes, then another one.
"$build/examples/links_host" unix "$work/socket" >"$work/host.log" 2>&1 &
host=$!
until_said 1 'cannot connect to .*: No such file or directory; next try in' host.log
start_phone --drop-after-frames 5
until_said 1 '^running$' host.log
wait "$phone"
until_said 1 '^lost: (the phone|connection lost).*; next try in' host.log
start_phone --verbose
until_said 2 '^running$' host.log
kill -USR1 "$host"
until_said 1 'DayNightMode' phone.log
kill -USR2 "$host"
until_said 1 '^frames of 640 x 720: result 0$' host.log
kill -HUP "$host"
until_said 2 '^connecting, attempt 1$' host.log
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
