#!/usr/bin/env bash
# A head unit mirrors a phone: two programs of this tree in two processes, connected over TCP on the
# loopback. Leaves what the phone drew and what the head unit received as PNG pictures in out/demo.
#
#   tools/demo.sh [FRAMES [WIDTHxHEIGHT]]
set -euo pipefail
cd "$(dirname "$0")/.."

frames=${1-20}
size=${2-1280x720}
out=out/demo
bin=build/release

echo "demo: 1 of 3: packages"
sh tools/prepare.sh
echo "demo: 2 of 3: build build/release"
cmake --preset release
cmake --build --preset release -j 2 --target src/all plugins/all quarlo-phone quarlo-headunit \
    quarlo-compare

echo "demo: 3 of 3: $frames frames of $size"
rm -rf "$out"
mkdir -p "$out/phone" "$out/headunit"
"$bin/phone/quarlo-phone" --listen 127.0.0.1:0 --port-file "$out/port" \
    --dump-frames "$out/phone" --once >"$out/phone.log" 2>&1 &
phone=$!
trap 'kill "$phone" 2>/dev/null || true' EXIT

waited=0
until [ -s "$out/port" ]; do
    if ! kill -0 "$phone" 2>/dev/null || [ "$waited" -ge 100 ]; then
        echo "demo: the phone does not listen:" >&2
        cat "$out/phone.log" >&2
        exit 1
    fi
    sleep 0.1
    waited=$((waited + 1))
done

"$bin/headunit/quarlo-headunit" --connect "127.0.0.1:$(cat "$out/port")" --frames "$frames" \
    --size "$size" --output "$out/headunit" | tee "$out/headunit.log"
wait "$phone"
trap - EXIT

# Update n is phone-000n.png on one side and frame-000n.png on the other.
equal=0
compared=0
for drawn in "$out"/phone/phone-*.png; do
    received=$out/headunit/frame-${drawn##*-}
    [ -e "$received" ] || continue
    compared=$((compared + 1))
    if "$bin/tools/quarlo-compare" "$drawn" "$received"; then
        equal=$((equal + 1))
    else
        echo "demo: $drawn and $received differ" >&2
    fi
done

echo "demo: what the phone drew is in $out/phone, what the head unit received in $out/headunit"
echo "demo: logs are $out/phone.log and $out/headunit.log"
echo "demo: $equal of $compared pictures are equal, pixel by pixel"
[ "$compared" -gt 0 ] && [ "$equal" -eq "$compared" ]
