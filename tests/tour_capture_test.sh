#!/usr/bin/env bash
# tour_capture_test.sh BUILD TOUR: what the tour has left in its capture. tshark finds nothing wrong with it,
# shows every packet of the catalogue, and the packets that the phone has logged, in their order and sizes;
# played back it gives the host what the head unit has logged, and the same at every run.
set -euo pipefail
export LC_ALL=C
build=$1 tour=$2
capture=$tour/tour.pcapng
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    echo "tour_capture: $*" >&2
    exit 1
}

# equal WHAT FILE FILE: but for what was under way at the end.
equal() {
    local ours theirs most
    ours=$(wc -l <"$2") theirs=$(wc -l <"$3")
    most=$((ours < theirs ? ours : theirs))
    if [ "$most" -lt 50 ] || [ $((ours + theirs - 2 * most)) -gt 5 ]; then
        fail "$1: $ours and $theirs"
    fi
    diff <(head -n "$most" "$2") <(head -n "$most" "$3") >"$work/diff" ||
        fail "$1 differ: $(head -n 5 "$work/diff")"
}

tshark -X "lua_script:$build/tools/quarlo.lua" -r "$capture" -o tcp.check_checksum:TRUE -o ip.check_checksum:TRUE \
    -T fields -E 'separator=;' -e _ws.expert.severity -e _ws.expert.message -e _ws.col.Info -e quarlo.direction \
    -e quarlo.type -e quarlo.length >"$work/frames" 2>"$work/said"
! grep -v '^Running as user' "$work/said" || fail "tshark complains"

# Comments, chats and notes are below this.
awk -F';' '{ n = split($1, severity, ","); for (i = 1; i <= n; ++i) if (severity[i] >= 6291456) print NR ": " $2 }' \
    "$work/frames" >"$work/wrong"
[ ! -s "$work/wrong" ] || fail "something is wrong: $(head -n 5 "$work/wrong")"

# TYPE SIZE of each direction's packets, by the capture and by the phone's log.
sed -nE 's/^\| ([0-9]+) \| \[([A-Za-z]+)\].*/\2 \1/p' docs/wire.md | sort >"$work/types"
for direction in 0 1; do
    awk -F';' -v direction=$direction '$4 != "" {
        n = split($4, directions, ","); split($5, types, ","); split($6, lengths, ",")
        for (i = 1; i <= n; ++i) if (directions[i] == direction) print types[i], lengths[i] + 9
    }' "$work/frames" >"$work/shown.$direction"
    arrow=$([ $direction -eq 0 ] && echo '<-' || echo '->')
    awk -v arrow="$arrow" 'NR == FNR { type[$1] = $2; next } $3 == arrow {
        sub(",", "", $4); print type[$4], $5
    }' "$work/types" "$tour/phone.log" >"$work/logged.$direction"
    equal "packets of direction $direction" "$work/logged.$direction" "$work/shown.$direction"
done
cut -d' ' -f2 "$work/types" | sort -u >"$work/known"
cat "$work"/shown.? | cut -d' ' -f1 | sort -u | diff "$work/known" - || fail "packets are missing"

"$build/tools/quarlo-replay" "$capture" >"$work/first"
"$build/tools/quarlo-replay" "$capture" | cmp "$work/first" - || fail "two runs differ"
"$build/tools/quarlo-replay" --compare "$capture" >"$work/compared" || fail "$(<"$work/compared")"
sed -nE 's/.*"FrameUpdate", "rectangleIndex": ([0-9]+), "x": ([0-9]+), "y": ([0-9]+), "width": ([0-9]+), "height": ([0-9]+).*"size": ([0-9]+).*/\1 \2 \3 \4 \5 \6/p' \
    "$work/first" >"$work/replayed"
sed -nE 's/.* rectangle ([0-9]+) at \(([0-9]+), ([0-9]+)\) of ([0-9]+) x ([0-9]+), ([0-9]+) bytes.*/\1 \2 \3 \4 \5 \6/p' \
    "$tour/headunit.log" >"$work/live"
equal "rectangles" "$work/live" "$work/replayed"
echo "tour_capture: $(cat "$work"/shown.? | wc -l) packets, $(wc -l <"$work/live") rectangles"
