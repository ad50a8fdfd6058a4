#!/usr/bin/env bash
# reconnect_test.sh BUILD SCENARIO: the head unit program with phones that go, come again, or never were
# there. The scenarios are the functions below the helpers.
set -uo pipefail
# shellcheck source=tests/support/programs.sh
. "$(dirname "$0")/support/programs.sh"

build=$1 scenario=$2
headunit=$build/headunit/quarlo-headunit
status=''

# begin_phone OPTIONS...: where the first one was.
begin_phone() {
    start_phone "$build" "$work" --once --max-seconds 60 "$@"
    [ "${phone_place[0]}" = --unix ] || phone_place=(--listen "$address")
}
phone_leaves() {
    wait "$phone"
    phone=''
}

start_unit() {
    "$headunit" --size 321x203 --init-timeout 0 "$@" >"$work/headunit.log" 2>"$work/errors.log" &
    unit=$!
}
# ends STATUS [TEXT]: how the head unit ends, and what its one line on standard error says.
ends() {
    wait "$unit"
    status=$?
    unit=''
    [ "$status" -eq "$1" ] || fail "the head unit ended with status $status instead of $1"
    [ "$(wc -l <"$work/errors.log")" -eq $(($# - 1)) ] || fail "not $(($# - 1)) lines on standard error"
    [ $# -eq 1 ] || grep -qF -- "$2" "$work/errors.log" || fail "standard error does not say '$2'"
}
# says COUNT PATTERN: so many lines of the log.
says() {
    [ "$(grep -cE -- "$2" "$work/headunit.log")" -eq "$1" ] || fail "not $1 lines with '$2'"
}
counts_down() {
    eventually "no countdown" grep -qE 'LINK +next try in [1-9][0-9]* s' "$work/headunit.log"
}

# goes_on FAULT...: the pictures and the count go on where they stood.
goes_on() {
    begin_phone "$@"
    start_unit --connect "$address" --reconnect --frames 6 --output "$work/pictures"
    phone_leaves
    counts_down
    begin_phone
    ends 0
    says 1 'LINK +the phone (closed|reset) the connection'
    says 2 'LINK +connected to'
    says 2 'protocol state RUN'
    [ "$(find "$work/pictures" -name 'frame-000[1-6].png' | wc -l)" -eq 6 ] || fail "not 6 pictures"
}
tcp() { goes_on --drop-after-frames 3; }
unix_socket() {
    phone_place=(--unix "$work/socket")
    goes_on --drop-after-frames 3
}
# Soon after the first picture, which is whole.
cut() {
    goes_on --compression raw --cut-at 265000
    grep -qF 'fault: the connection is cut after 265000 bytes' "$work/phone.log" || fail "no cut"
}

# come_phone PLACE OPTIONS...: to the head unit, which may listen later.
come_phone() {
    "$build/phone/quarlo-phone" --connect "$1" --once --max-seconds 60 "${@:2}" >>"$work/phone.log" 2>&1 &
    phone=$!
}

# The phones come to the head unit, the second when the first has gone.
listening() {
    start_unit --listen 127.0.0.1:0 --port-file "$work/port" --reconnect --frames 6
    eventually "the head unit does not listen" test -s "$work/port"
    place=127.0.0.1:$(cat "$work/port")
    come_phone "$place" --drop-after-frames 3
    phone_leaves
    come_phone "$place"
    ends 0
    phone_leaves
    says 1 "LINK +waiting on $place"
    says 2 'LINK +a phone has connected'
    come_phone "unix:$work/unit"
    start_unit --listen "unix:$work/unit" --frames 2
    ends 0
    phone_leaves
    start_unit --listen "unix:$work/unit" --seconds 0.3
    ends 1 'the time is over'
    start_unit --listen 127.0.0.1:0 --connect-timeout 0.1
    ends 1 'no phone accepted on'
    start_unit --listen 192.0.2.1:0
    ends 1 'Cannot assign requested address'
}

# What was changed stays changed, and a step that waits goes on waiting.
script() {
    printf '%s\n' 'wait-for update' 'size 200x100' 'format rgb565' 'wait-for state STOP timeout 30000' \
        'wait-for state RUN timeout 30000' 'wait-for update' 'screenshot after' >"$work/steps"
    begin_phone --drop-after-frames 5
    start_unit --connect "$address" --reconnect 30 --script "$work/steps" --output "$work/pictures"
    phone_leaves
    counts_down
    begin_phone --verbose
    ends 0
    file "$work/pictures/after.png" 2>/dev/null | grep -qF '200 x 100' ||
        [ "$(od -An -tu1 -j16 -N8 "$work/pictures/after.png" | tr -s ' ')" = ' 0 0 0 200 0 0 0 100' ] ||
        fail "the screenshot has another size"
}

refused() {
    begin_phone --refuse init
    start_unit --connect "$address" --reconnect --frames 2
    phone_leaves
    counts_down
    begin_phone
    ends 0
}

silent() {
    begin_phone --stall frames
    start_unit --connect "$address" --reconnect --watchdog 3 --frames 2
    phone_leaves
    counts_down
    says 1 'LINK +no sign of life'
    begin_phone
    ends 0
}

# In the first picture; nobody but the one who waits can know.
half_open() {
    begin_phone --compression raw --half-open-at 100000
    start_unit --connect "$address" --reconnect --watchdog 3 --frames 2
    eventually "the watchdog is silent" grep -qE 'LINK +no sign of life' "$work/headunit.log"
    kill "$phone"
    phone_leaves
    begin_phone
    ends 0
}

interrupted() {
    start_unit --connect "unix:$work/socket" --reconnect
    counts_down
    kill -INT "$unit"
    ends 1 'interrupted'
}

gives_up() {
    start_unit --connect "unix:$work/socket" --reconnect 1
    counts_down
    ends 1 "gave up: cannot connect to $work/socket: No such file or directory"
}

# Without the option each is one line.
nobody() {
    begin_phone
    kill "$phone"
    phone_leaves
    start_unit --connect "$address"
    ends 1 'Connection refused'
    start_unit --unix "$work/socket"
    ends 1 'No such file or directory'
    start_unit --connect /dev/ttyNOWHERE@115200
    ends 1 'cannot open serial line /dev/ttyNOWHERE: No such file or directory'
    start_unit --connect serial:/dev/null@115200
    ends 1 'Inappropriate ioctl'
}

# in_flight COMPRESSION: format and size change while updates are requested and under way.
in_flight() {
    {
        echo 'wait-for update'
        for size in 640x480 321x203 800x600; do
            for format in rgb565 rgb888 argb8888; do
                printf '%s\n' 'update full' 'update full' "wait $((RANDOM % 20))" "format $format" \
                    'update full' "wait $((RANDOM % 20))" "size $size"
            done
        done
        echo 'screenshot last'
    } >"$work/steps"
    begin_phone --fps 240 --compression "$1"
    start_unit --connect "$address" --script "$work/steps" --output "$work/pictures"
    ends 0
    says 0 'of the time before the change'
}
in_flight_zlib() { in_flight zlib; }
in_flight_jpeg() { in_flight jpeg; }

# The loader meets an empty file of the plug-in's name first.
no_plug_in() {
    begin_phone
    mkdir "$work/lib"
    : >"$work/lib/libQUARLO-Decomp01.so"
    LD_LIBRARY_PATH=$work/lib start_unit --connect "$address" --compression zlib --frames 1
    ends 1 'compression not supported'
    says 1 'LIB +no plug-in decodes zlib: libQUARLO-Decomp01.so'
    says 1 "LIB +$work/lib/libQUARLO-Decomp01.so: file too short"
}

$scenario
