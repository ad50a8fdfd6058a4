#!/usr/bin/env bash
# tour.sh BUILD DIR [HEADUNIT-OPTIONS]: a head unit plays tools/tour.script with a phone, over TCP. Leaves in DIR its screenshots,
# tour.png with all of them on one page, tour.pcapng, headunit.log, phone.log with every packet, and in DIR/phone the
# screen after each update as the phone drew it.
set -euo pipefail
tools=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=tools/phone.sh
. "$tools/phone.sh"

build=$1 out=$2
shift 2
rm -rf "$out"
mkdir -p "$out/phone"

phone=
trap '[ -z "$phone" ] || kill "$phone" 2>/dev/null || true' EXIT
start_phone "$build" "$out" --once --verbose --dump-frames "$out/phone" --fps 10 --max-seconds 300
"$build/headunit/quarlo-headunit" --connect "$address" --size 1280x720 --output "$out" \
    --script "$tools/tour.script" --watchdog 30 --capture "$out/tour.pcapng" "$@" \
    >"$out/headunit.log" 2>"$out/errors.log" || {
    tail -n 30 "$out/headunit.log" >&2
    cat "$out/errors.log" >&2
    exit 1
}
wait "$phone"
phone=
rm "$out/errors.log"

"$build/tools/quarlo-contact-sheet" "$out/tour.png" "$out"/[0-9][0-9]-*.png
