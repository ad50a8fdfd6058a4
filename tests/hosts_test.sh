#!/usr/bin/env bash
# hosts_test.sh BUILD: the hosts of docs/examples.md against the phone program. The same first screen, decoded by the
# library into a device with padded rows, by the example's plug-in, and by a host itself, is the same picture.
set -uo pipefail

# shellcheck source=tests/support/programs.sh
. "$(dirname "$0")/support/programs.sh"

build=$1
said() { [ "$(grep -cE -- "$2" "$work/$3.log")" -ge "$1" ]; }
until_said() { eventually "$3 does not say '$2' $1 times" said "$@"; }

# start_phone NAME OPTIONS...: adds to the phones that run; its port is in work/NAME.port.
start_phone() {
    local name=$1
    shift
    rm -f "$work/$name.port"
    "$build/phone/quarlo-phone" --listen 127.0.0.1:0 --port-file "$work/$name.port" --max-seconds 200 \
        --seed 1 --clock 12:00:00 --compression zlib --verbose "$@" >"$work/$name.log" 2>&1 &
    phone="$phone $!"
    eventually "$name does not listen" test -s "$work/$name.port"
}

# shows_one_update PROGRAM ARGUMENT...: runs it until its phone has gone, after the first update.
shows_one_update() {
    local program=$1
    shift
    start_phone one --once --drop-after-frames 1
    "$build/examples/$program" 127.0.0.1 "$(cat "$work/one.port")" "$@" >"$work/host.log" 2>&1 &
    host=$!
    until_said 1 '^update 1' host
    until_said 1 '-> FramebufferUpdate.*Compression=2' one
    kill -TERM "$host"
    wait "$host" || fail "$program ended with status $?"
    host=''
}

width=320 height=180 stride=1344
# The rows of the device without their padding, which still has the device's bytes.
unpadded() {
    perl -e 'my ($row, $stride, $height) = @ARGV; binmode STDIN; binmode STDOUT;
        for (1 .. $height) {
            read(STDIN, my $line, $stride) == $stride or die "too short";
            substr($line, $row) eq "\xee" x ($stride - $row) or die "drawn beside the screen";
            print substr($line, 0, $row);
        }' $((4 * width)) $stride $height <"$work/device"
}
show_on_device() {
    head -c $((stride * height)) /dev/zero | tr '\0' '\356' >"$work/device"
    shows_one_update framebuffer "$work/device" $width $height $stride
    unpadded >"$1" || fail "the device was not drawn as it should be"
}

shows_one_update raw_decoder "$work/decoded"
colours=$(od -An -v -tx4 -w4 "$work/decoded" | sort -u | wc -l)
[ "$colours" -gt 50 ] || fail "the picture has $colours colours"
show_on_device "$work/shown"
cmp "$work/decoded" "$work/shown" || fail "the device shows another picture"

export LD_LIBRARY_PATH=$build/examples/plugin
"$build/tools/quarlo-info" --found >"$work/info.log" || fail "quarlo-info does not like the plug-in"
until_said 1 'examples/plugin/libQUARLO-Decomp01.so' info
until_said 1 '7\.0\.1' info
show_on_device "$work/plugged"
unset LD_LIBRARY_PATH
cmp "$work/decoded" "$work/plugged" || fail "the plug-in decodes another picture"

"$build/examples/framebuffer" 127.0.0.1 1 /dev/null >"$work/host.log" 2>&1
[ $? -eq 1 ] || fail "/dev/null is taken for a framebuffer"
until_said 1 'no framebuffer' host

# Three phones: one goes and comes back, and the others do not notice.
start_phone first
start_phone second --drop-after-frames 5
start_phone third
"$build/examples/several_phones" 127.0.0.1 "$(cat "$work/first.port")" 127.0.0.1 \
    "$(cat "$work/second.port")" 127.0.0.1 "$(cat "$work/third.port")" >"$work/host.log" 2>&1 &
host=$!
until_said 1 '^phone 1 is gone after [1-9][0-9]* updates: ' host
until_said 2 '^phone 1 is there$' host
until_said 1 '^phone 0 is there$' host
until_said 1 '^phone 2 is there$' host
until_said 3 '-> FramebufferUpdate' first
until_said 3 '-> FramebufferUpdate' third
kill -INT "$host"
wait "$host" || fail "several_phones ended with status $?"
host=''
until_said 1 '^phone 0: [1-9][0-9]* updates$' host
until_said 1 '^phone 2: [1-9][0-9]* updates$' host
! said 1 '^phone [02] is gone' host || fail "a phone was lost with another one"
