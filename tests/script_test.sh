#!/usr/bin/env bash
# script_test.sh BUILD SCENARIO: the phone and the head unit programs, operated by a script and by other
# programs. The scenarios are the functions below the helpers.
set -uo pipefail
# shellcheck source=tests/support/programs.sh
. "$(dirname "$0")/support/programs.sh"

build=$1 scenario=$2
scripts=$(dirname "$0")/../tools

phone() {
    rm -f "$work/phone.log"
    start_phone "$build" "$work" --max-seconds "${seconds:-240}" --handshake-limit 0 --ping-limit 0 "$@"
}
start_unit() {
    "$build/headunit/quarlo-headunit" --connect "$address" --size 321x203 --init-timeout 0 \
        --reconnect --seconds 240 "$@" >"$work/headunit.log" 2>&1 &
    unit=$!
}
# phone_ends STATUS [TEXT]: what it says at its end.
phone_ends() {
    local status
    wait "$phone"
    status=$?
    phone=''
    [ "$status" -eq "$1" ] || fail "the phone ended with status $status instead of $1"
    [ $# -eq 1 ] || grep -qF -- "$2" "$work/phone.log" || fail "the phone does not say '$2'"
}
# tell SOCKET LINES ANSWERS: each line is a step.
tell() {
    printf '%s' "$2" | socat -t 120 - "UNIX:$1" >"$work/answers.log"
    printf '%s' "$3" | diff - "$work/answers.log" >&2 || fail "other answers to: $2"
}

# The whole of phone.script holds for the reference head unit.
holds() {
    phone --script "$scripts/phone.script"
    start_unit
    phone_ends 0
    local text
    for text in 'phone "Test phone"' 'softkeys Home Back' 'call "+49" "Ada Lindqvist"' \
        'navigate "Lake view" PositionOnly longitude -11.500000 latitude 48.137154' 'audio Release 1'; do
        grep -qF -- "$text" "$work/headunit.log" || fail "the head unit did not hear: $text"
    done
}

# What does not come, or comes though it must not, is named with its line.
fails() {
    printf 'wait-for running timeout 120000\n\nexpect ClientInit ScreenWidth=320\n' >"$work/wrong.script"
    phone --script "$work/wrong.script"
    start_unit
    phone_ends 1 "wrong.script:3: 'expect ClientInit ScreenWidth=320': there was no 'ClientInit ScreenWidth=320'"
    kill "$unit"
    wait "$unit"
    printf 'wait-for ClientInit timeout 120000\nexpect-no ClientInit\n' >"$work/wrong.script"
    phone --script "$work/wrong.script"
    start_unit
    phone_ends 1 "wrong.script:2: 'expect-no ClientInit': there was 'ClientInit'"
}

# A script that cannot be played is refused before anything is opened, and one that time ends has failed.
ends_early() {
    local line status
    for line in 'jump' 'call' 'send Pong' 'send Ping Counter=1' 'wait-for Ping' 'wait-for running x' 'icons /nowhere' \
        'refuse all' 'unit 0' 'unit 65' 'bytes' 'navigate 91 0' 'park session 0x1000 61' 'forget session 1' 'apps chess'; do
        printf '# comment\n%s\n' "$line" >"$work/wrong.script"
        "$build/phone/quarlo-phone" --listen 127.0.0.1:0 --port-file "$work/port" --script "$work/wrong.script" \
            2>"$work/phone.log"
        status=$?
        [ "$status" -eq 2 ] || fail "status $status after $line"
        grep -qF "wrong.script:2: '$line' is not allowed here; allowed: " "$work/phone.log" || fail "$line is not named"
        [ ! -e "$work/port" ] || fail "it listened"
    done
    printf 'wait-for running timeout 120000\n' >"$work/wrong.script"
    seconds=0.2 phone --script "$work/wrong.script"
    phone_ends 1 "wrong.script:1: 'wait-for running timeout 120000': was not reached, or not done"
}

# Both programs at once, by sockets.
control() {
    phone --control "$work/phone.sock"
    "$build/phone/quarlo-phone" --render-only "$work/phone.png" --size 40x40 || fail "no icon"
    tell "$work/phone.sock" $'call 1\nicons '"$work"$'\napps phone' \
        $'error head unit 1 has not completed the handshake\nok\nok\n'
    start_unit --control "$work/unit.sock" --output "$work"
    tell "$work/phone.sock" $'wait-for running timeout 120000\ncall 1 Ada\n# none\n\njump\n' \
        "ok
ok
error 'jump' is not allowed here; allowed: $("$build/phone/quarlo-phone" --steps | awk '/^  [^ ]/ && !seen[$1]++ { printf "%s%s", comma, $1; comma = ", " }')
"
    tell "$work/unit.sock" $'night on\nicon quarlo://app/phone 40x40\nwait-for icon timeout 120000\nexpect call Bob\n' \
        $'ok\nok\nok\nerror there was no callback \'call\' with \'Bob\'\n'
    tell "$work/phone.sock" $'expect ClientState Value=1\nexpect-no fault\ndrop' $'ok\nok\nok\n'
    kill "$phone" "$unit"
    wait "$phone" "$unit"
    phone='' unit=''
    if [ -e "$work/phone.sock" ] || [ -e "$work/unit.sock" ]; then fail "a socket is left"; fi
}

"$scenario"
