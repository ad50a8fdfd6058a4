#!/usr/bin/env bash
# guide_test.sh PROGRAM PHONE "PHONE-OPTIONS" EXPECTATION...: a guide's program in a session with the phone
# program. It ends well, and an expectation "host: REGEX" or "phone: REGEX" is a line of what the one
# printed or the other logged; those of each side in this order.
set -uo pipefail

program=$1 phone_program=$2
read -ra options <<<"$3"
shift 3
work=$(mktemp -d)
phone=
finish() {
    [ -z "$phone" ] || kill "$phone" 2>/dev/null
    rm -rf "$work"
}
trap finish EXIT

fail() {
    echo "guide_test: $*" >&2
    tail -n 100 "$work"/host "$work"/phone >&2
    exit 1
}

"$phone_program" --listen 127.0.0.1:0 --port-file "$work/port" --once --max-seconds 60 --verbose \
    "${options[@]}" >"$work/phone" 2>&1 &
phone=$!
for ((i = 0; i < 600; ++i)); do
    [ ! -s "$work/port" ] || break
    kill -0 "$phone" 2>/dev/null || fail "the phone does not listen"
    sleep 0.05
done
"$program" 127.0.0.1 "$(cat "$work/port")" >"$work/host" 2>&1
status=$?
wait "$phone"
phone=
[ "$status" -eq 0 ] || fail "the program ended with status $status"

declare -A from=([host]=1 [phone]=1)
for expectation in "$@"; do
    side=${expectation%%: *} regex=${expectation#*: }
    line=$(tail -n "+${from[$side]}" "$work/$side" | grep -nE -m 1 -- "$regex") ||
        fail "the $side does not say '$regex' (from line ${from[$side]} on)"
    from[$side]=$((from[$side] + ${line%%:*}))
done
