#!/usr/bin/env bash
# One session of the phone program and the head unit program in two processes.
#
#   mirror_test.sh BUILD TRANSPORT pictures COUNT PHONE-OPTIONS -- HEADUNIT-OPTIONS
#       every one of COUNT pictures is on both sides the same
#   mirror_test.sh BUILD TRANSPORT fails TEXT PHONE-OPTIONS -- HEADUNIT-OPTIONS
#       the head unit ends with status 1 and one line on standard error that has TEXT
#   mirror_test.sh BUILD TRANSPORT survives TEXT PHONE-OPTIONS -- HEADUNIT-OPTIONS
#       the phone's log has TEXT, and the head unit ends with status 0, or with 1 and one line
#   mirror_test.sh BUILD TRANSPORT attaches PROGRAM PHONE-OPTIONS -- ARGUMENTS
#       the program comes to RUN, and to its end when the phone leaves
#
# TRANSPORT: tcp; unix; serial; beside: tcp, beside a head unit that was served first and hangs, and that goes on
# afterwards; called: the phone connects. In ARGUMENTS %HOST and %PORT are where.
set -uo pipefail
# shellcheck source=tests/support/programs.sh
. "$(dirname "$0")/support/programs.sh"

build=$1 transport=$2 mode=$3 expected=$4
shift 4
phone_options=()
while [ "$1" != -- ]; do
    phone_options+=("$1")
    shift
done
shift

host_name=127.0.0.1 port='' dumps=$work/phone
case $transport in
    tcp | beside) phone_place=(--listen 127.0.0.1:0 --port-file "$work/port") ;;
    unix)
        phone_place=(--unix "$work/socket")
        unit_place=unix:$work/socket
        ;;
    serial)
        socat "pty,rawer,link=$work/near" "pty,rawer,link=$work/far" &
        host=$!
        eventually "there is no cable" test -e "$work/far"
        # Else an end would hang up whenever a program closes it.
        exec 8<>"$work/near" 9<>"$work/far"
        phone_place=(--serial "$(readlink "$work/near"):921600")
        unit_place=serial:$(readlink "$work/far")@921600
        ;;
    called)
        # Nobody else takes a port of this address.
        host_name=127.$((1 + $$ / 62500 % 250)).$((1 + $$ / 250 % 250)).$((1 + $$ % 250)) port=5910
        phone_place=(--connect "$host_name:$port")
        ;;
    *) fail "no transport '$transport'" ;;
esac

[ "$transport" = beside ] || phone_place+=(--once)
"$build/phone/quarlo-phone" "${phone_place[@]}" --seed 1 --clock 12:00:00 --max-seconds 120 \
    --dump-frames "$work/phone" "${phone_options[@]}" >"$work/phone.log" 2>&1 &
phone=$!
eventually "the phone is not ready" grep -qE '^(listening|waiting|connecting)' "$work/phone.log"
if [ -e "$work/port" ]; then
    port=$(cat "$work/port")
    unit_place=$host_name:$port
fi

if [ "$mode" = attaches ]; then
    [ "$transport" != called ] || eventually "nobody tries" grep -qF 'trying again' "$work/phone.log"
    arguments=("${@//%HOST/$host_name}")
    arguments=("${arguments[@]//%PORT/$port}")
    [ "$1" != descriptors ] || exec 3<>"/dev/tcp/$host_name/$port"
    "$build/$expected" "${arguments[@]}" >"$work/headunit.log" 2>"$work/errors.log" &
    unit=$!
    exec 3>&-
    eventually "no handshake" grep -qF 'handshake completed' "$work/phone.log"
    kill "$phone"
    wait "$unit" || fail "the program ended with status $?"
    unit=''
    wait "$phone" || fail "the phone ended with status $?"
    phone=''
    grep -qF 'the phone closed the connection' "$work/headunit.log" || fail "it ended otherwise"
    exit 0
fi

if [ "$transport" = beside ]; then
    "$build/headunit/quarlo-headunit" --connect "$unit_place" --size 200x100 --init-timeout 0 \
        >"$work/first.log" 2>&1 &
    unit=$!
    eventually "the first head unit is not served" grep -qF 'end of update 2' "$work/first.log"
    kill -STOP "$unit"
    dumps=$work/phone/2
fi

"$build/headunit/quarlo-headunit" --connect "$unit_place" --output "$work/headunit" "$@" \
    >"$work/headunit.log" 2>"$work/errors.log"
status=$?
if [ "$transport" = beside ]; then
    had=$(grep -c 'end of update' "$work/first.log")
    more() { [ "$(grep -c 'end of update' "$work/first.log")" -gt "$((had + 2))" ]; }
    kill -CONT "$unit"
    eventually "the first head unit does not go on" more
fi
# Nobody hears a head unit leave a serial line.
[[ $transport != serial && $transport != beside ]] || kill "$phone"
wait "$phone"
phone=

case $mode in
    pictures)
        [ "$status" -eq 0 ] || fail "the head unit ended with status $status"
        [ ! -s "$work/errors.log" ] || fail "the head unit complained"
        [ "$(find "$work/headunit" -name '*.png' | wc -l)" -eq "$expected" ] ||
            fail "not $expected pictures"
        "$build/tools/quarlo-compare" "$dumps" phone-%04d.png "$work/headunit" \
            frame-%04d.png --count "$expected" || fail "the pictures differ"
        ;;
    fails)
        [ "$status" -eq 1 ] || fail "the head unit ended with status $status instead of 1"
        [ "$(wc -l <"$work/errors.log")" -eq 1 ] || fail "not one line on standard error"
        grep -qF -- "$expected" "$work/errors.log" || fail "nothing says '$expected'"
        ;;
    survives)
        [ "$(wc -l <"$work/errors.log")" -eq "$status" ] || fail "it ended with status $status"
        grep -qF -- "$expected" "$work/phone.log" || fail "the phone does not say '$expected'"
        ;;
    *) fail "no mode '$mode'" ;;
esac
