#!/usr/bin/env bash
# guides_test.sh BUILD: the programs of docs/guides, one after the other in sessions with the phone program. Each has
# to end well, print what its guide says, and be understood by the phone until its end.
set -uo pipefail

# shellcheck source=tests/support/programs.sh
. "$(dirname "$0")/support/programs.sh"

build=$1

# guide PROGRAM REGEX...: runs it; its output and then the phone's log, from where that stood, have such lines in this
# order.
guide() {
    local program=$1 before line=1 found regex
    before=$(wc -l <"$work/phone.log")
    "$build/examples/guide_$program" "${address%:*}" "${address#*:}" >"$work/host.log" 2>&1 ||
        fail "guide_$program ended with status $?"
    shift
    tail -n "+$((before + 1))" "$work/phone.log" | cat "$work/host.log" - >"$work/said"
    for regex in "$@"; do
        # All is read to the end: a reader that stops early would end the writer of the pipe with a signal.
        found=$(tail -n "+$line" "$work/said" | grep -nE -- "$regex") || fail "guide_$program: there is no '$regex'"
        line=$((line + ${found%%:*}))
    done
}

start_phone "$build" "$work" --max-seconds 240 --verbose
guide frames '^([3-9]|[1-9][0-9]+) updates, [1-9][0-9]* pixels drawn, 0 rectangles refused$' \
    '-> FramebufferUpdate.*Compression=2' '<- OverrideCompression.*=4' '-> FramebufferUpdate.*Compression=4'
guide touch '<- TouchEvent.*\[\{.*Down.*X=320.*Y=180, UniqueID=1\}\]' '<- TouchEvent.*\(Up\).*\(Up\)' \
    '<- TouchEvent.*Cancelled' '<- SoftkeyEvent.*Release.*Home'
guide vehicle_status 'screen is shown' 'screen is blocked' '<- Position.*GPGGA' '<- ClientSettings.*fra'
guide vehicle_data '^wanted: 6 keys' '^no longer wanted: 6 keys' '<- VehicleData.*Key=1, .*83\.5'
guide audio '^request [0-9]+ for type 3$' '^channel of request [0-9]+ closed$' '<- ClientAudio.*Suspend' \
    '<- ClientAudio.*Close'
guide phone_services '^dial \+4615550101 \(Ada Lindqvist\)$' '^ +48\.1372 11\.5761$' '^ +Rue du Lac$' \
    '^voice request 3$' '<- PhoneCallStatus.*Ended' '<- .*SessionStatus.*Idle'
guide apps '^quarlo://app/phone: Phone$' '^icon [0-9]+ of quarlo://app/link is whole$' \
    '^start of quarlo://app/phone: status 2$' '<- ClientStartApp.*key="mode", value="resume"'
guide custom_data '^text 1, encoding 1: quarlo phone$' '^bus message 0x230: FF 80 20$' \
    '<- ClientCustomData.*String.*Type=2' '<- .*Raw.*Type=66, pData=\[113,'
