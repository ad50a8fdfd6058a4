#!/usr/bin/env bash
# What quarlo does, on pictures: two programs of this tree in two processes, connected over TCP on the
# loopback. Everything is left in out/demo.
#
#   tools/demo.sh [FRAMES [WIDTHxHEIGHT]]      FRAMES and size of the first part
#
# With a display (DISPLAY or WAYLAND_DISPLAY) the tour is shown in a window.
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=tools/phone.sh
. tools/phone.sh

frames=${1-20}
size=${2-1280x720}
out=out/demo
bin=build/release

echo "demo: 1 of 7: packages"
sh tools/prepare.sh
echo "demo: 2 of 7: build build/release"
cmake --preset release
cmake --build --preset release -j 2 --target src/all plugins/all links/all phone/all headunit/all \
    tools/all

phone=
trap '[ -z "$phone" ] || kill "$phone" 2>/dev/null || true' EXIT

# mirror NAME PHONE-OPTIONS -- HEADUNIT-OPTIONS: one session, its pictures and logs in out/demo/NAME.
mirror() {
    local dir=$out/$1 phone_options=()
    shift
    while [ "$1" != -- ]; do
        phone_options+=("$1")
        shift
    done
    shift
    rm -rf "$dir"
    mkdir -p "$dir/headunit" "$dir/phone"
    start_phone "$bin" "$dir" --once "${phone_options[@]}" --dump-frames "$dir/phone"
    "$bin/headunit/quarlo-headunit" --connect "$address" --size "$size" --output "$dir/headunit" "$@" \
        >"$dir/headunit.log"
    wait "$phone"
    phone=
}

echo "demo: 3 of 7: $frames frames of $size, compared pixel by pixel"
mirror mirror -- --frames "$frames"
"$bin/tools/quarlo-compare" "$out/mirror/phone" phone-%04d.png "$out/mirror/headunit" frame-%04d.png \
    --count "$frames"
echo "demo: $frames of $frames pictures are equal: $out/mirror"

echo "demo: 4 of 7: the phone draws a quarter of the pixels, the scaling plug-in enlarges them"
mirror enlarged --render-percent 50 --compression jpeg --verbose -- --frames 3
grep -q 'ScalingPercentageHorizontal=50' "$out/enlarged/phone.log"
grep -q "rectangle 0 at (0, 0) of ${size%x*} x ${size#*x}," "$out/enlarged/headunit.log"
echo "demo: $(grep -c 'end of update' "$out/enlarged/headunit.log") updates enlarged to $size: $out/enlarged"

echo "demo: 5 of 7: a tour of every feature"
window=()
[ -z "${DISPLAY-}${WAYLAND_DISPLAY-}" ] || window=(--window)
bash tools/tour.sh "$bin" "$out/tour" "${window[@]}"
echo "demo: all its screenshots are on $out/tour/tour.png; what the phone did stands in"
echo "demo: $out/tour/headunit.log, and every packet in $out/tour/phone.log:"
grep ' CALL ' "$out/tour/headunit.log" | grep -vE 'update|rectangle|transition|thread' | tail -n 12

echo "demo: 6 of 7: the head unit's window, operated with a mouse and keys on a display of its own"
if [ -x "$(command -v xvfb-run)" ] && "$bin/headunit/quarlo-headunit" --help | grep -q -- --window-screenshot; then
    mkdir -p "$out/window"
    bash tests/window_test.sh "$bin" "$out/window"
    echo "demo: pictures of the window are in $out/window"
else
    echo "demo: there is no Xvfb or no SDL2: no window"
fi

echo "demo: 7 of 7: the tour's capture played back to the library, and the phone's judgement of the head unit"
"$bin/tools/quarlo-replay" "$out/tour/tour.pcapng" >"$out/tour/replay.jsonl"
echo "demo: $(wc -l <"$out/tour/replay.jsonl") callbacks of $out/tour/tour.pcapng, which Wireshark reads, too:"
tail -n 1 "$out/tour/replay.jsonl"
rm -rf "$out/check"
mkdir -p "$out/check"
"$bin/phone/quarlo-phone" --check --port 0 --port-file "$out/check/port" --report "$out/check/check.xml" \
    >"$out/check/table.txt" 2>"$out/check/phone.log" &
phone=$!
until [ -s "$out/check/port" ] || ! kill -0 "$phone"; do sleep 0.05; done
"$bin/headunit/quarlo-headunit" --connect "127.0.0.1:$(cat "$out/check/port")" --reconnect \
    --script tools/check.script >"$out/check/headunit.log" 2>&1 &
unit=$!
status=0
wait "$phone" || status=$?
phone=
kill "$unit" 2>/dev/null || true
wait "$unit" || true
tail -n 1 "$out/check/table.txt"
exit "$status"
