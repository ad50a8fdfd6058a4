#!/usr/bin/env bash
# One session of the phone program and the head unit program in two processes.
#
#   mirror_test.sh BUILD pictures COUNT PHONE-OPTIONS -- HEADUNIT-OPTIONS
#       every one of COUNT pictures is on both sides the same
#   mirror_test.sh BUILD fails TEXT PHONE-OPTIONS -- HEADUNIT-OPTIONS
#       the head unit ends with status 1 and one line on standard error that has TEXT
set -uo pipefail
# shellcheck source=tests/support/programs.sh
. "$(dirname "$0")/support/programs.sh"

build=$1 mode=$2 expected=$3
shift 3
phone_options=()
while [ "$1" != -- ]; do
    phone_options+=("$1")
    shift
done
shift

"$build/phone/quarlo-phone" --listen 127.0.0.1:0 --port-file "$work/port" --once --seed 1 \
    --clock 12:00:00 --max-seconds 60 --dump-frames "$work/phone" "${phone_options[@]}" \
    >"$work/phone.log" 2>&1 &
phone=$!
eventually "the phone does not listen" test -s "$work/port"

"$build/headunit/quarlo-headunit" --connect "127.0.0.1:$(cat "$work/port")" \
    --output "$work/headunit" "$@" >"$work/headunit.log" 2>"$work/errors.log"
status=$?
# The phone writes an update's picture after it has sent the update: only its end is the end of them.
wait "$phone"
phone=

case $mode in
    pictures)
        [ "$status" -eq 0 ] || fail "the head unit ended with status $status"
        [ ! -s "$work/errors.log" ] || fail "the head unit complained"
        [ "$(find "$work/headunit" -name '*.png' | wc -l)" -eq "$expected" ] ||
            fail "not $expected pictures"
        "$build/tools/quarlo-compare" "$work/phone" phone-%04d.png "$work/headunit" \
            frame-%04d.png --count "$expected" || fail "the pictures differ"
        ;;
    fails)
        [ "$status" -eq 1 ] || fail "the head unit ended with status $status instead of 1"
        [ "$(wc -l <"$work/errors.log")" -eq 1 ] || fail "not one line on standard error"
        grep -qF -- "$expected" "$work/errors.log" || fail "nothing says '$expected'"
        ;;
    *) fail "no mode '$mode'" ;;
esac
