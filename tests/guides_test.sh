#!/usr/bin/env bash
# guides_test.sh EXAMPLES PHONE: the programs of docs/guides, found in the directory EXAMPLES, one after the
# other in sessions with the phone program. Each has to end well, print what its guide says and be
# understood by the phone.
set -uo pipefail

# shellcheck source=tests/support/programs.sh
. "$(dirname "$0")/support/programs.sh"

examples=$1 phone_program=$2

fail() {
    echo "guides_test: $program: $*" >&2
    tail -n 100 "$work/host" "$work/phone" >&2
    exit 1
}

# phone OPTIONS...: a phone for the sessions that follow.
phone() {
    program=phone
    [ -z "$phone" ] || { kill "$phone"; wait "$phone"; } 2>/dev/null
    rm -f "$work/port"
    : >"$work/host"
    "$phone_program" --listen 127.0.0.1:0 --port-file "$work/port" --max-seconds 240 --verbose "$@" \
        >"$work/log" 2>&1 &
    phone=$!
    eventually "the phone does not listen" test -s "$work/port"
}

# session PROGRAM: what both sides say from here on is its.
session() {
    program=$1
    local before
    before=$(wc -l <"$work/log")
    "$examples/guide_$program" 127.0.0.1 "$(cat "$work/port")" >"$work/host" 2>&1
    local status=$?
    tail -n "+$((before + 1))" "$work/log" >"$work/phone"
    [ "$status" -eq 0 ] || fail "ended with status $status"
    host_line=1 phone_line=1
}

# says FILE LINE REGEX: the number of the line after the first that matches.
says() {
    local found
    # All is read to the end: a reader that stops early would end the writer of the pipe with a signal.
    found=$(tail -n "+$2" "$work/$1" | grep -nE -- "$3") || return 1
    echo $(($2 + ${found%%:*}))
}

# host REGEX..., sees REGEX...: lines of the host's output, or of the phone's log, in this order.
host() {
    for regex in "$@"; do
        host_line=$(says host "$host_line" "$regex") || fail "does not say '$regex'"
    done
}
sees() {
    for regex in "$@"; do
        phone_line=$(says phone "$phone_line" "$regex") || fail "the phone does not see '$regex'"
    done
}

phone
session frames
host '^([3-9]|[1-9][0-9]+) updates, [1-9][0-9]* pixels drawn, 0 rectangles refused$'
sees '<- ClientInit.*SupportedCompressions=6' '<- .*UpdateRequest.*Incremental=0' \
    '-> FramebufferUpdate.*Compression=2' '<- .*UpdateRequest.*Incremental=1' \
    '<- ClientState.*Suspended.*Value=1' '<- ClientState.*Suspended.*Value=0' \
    '<- OverrideCompression.*=4' '-> FramebufferUpdate.*Compression=4'

session touch
sees '<- TouchEvent.*\[\{.*Down.*X=320.*Y=180, UniqueID=1\}\]' '<- TouchEvent.*X=440.*UniqueID=2\}\]' \
    '<- TouchEvent.*Moved.*X=360.*UniqueID=1.*Moved.*X=480.*UniqueID=2' \
    '<- TouchEvent.*\(Up\).*\(Up\)' '<- TouchEvent.*Down.*UniqueID=3' '<- TouchEvent.*Cancelled' \
    '<- SoftkeyEvent.*Press.*Home' '<- SoftkeyEvent.*Release.*Home'

session vehicle_status
host 'screen is shown' 'screen is blocked'
sees '<- ClientInit.*Capabilities=44' '<- ClientSettings.*deu' '<- ClientState.*Movement.*Value=0' \
    '<- ClientState.*DayNight.*Value=1' '<- SetBlockMode.*AllowAll' '<- Position.*GPGGA' \
    '<- ClientState.*Movement.*Value=1' '<- SetBlockMode.*UseWhitelist' '<- ClientSettings.*fra'

session vehicle_data
host '^wanted: 6 keys' '^no longer wanted: 6 keys'
sees '-> SetVehicleDataFilter' '<- VehicleData.*Key=1, .*50\.0' '<- VehicleData.*Key=6' \
    '<- VehicleData.*Key=1, .*83\.5'

session audio
host '^request [0-9]+ for type 3$' '^channel of request [0-9]+ closed$'
sees '-> ServerAudio.*Request.*Main' '<- ClientAudio.*Open' '<- ClientAudio.*Suspend' \
    '<- ClientAudio.*Open' '-> ServerAudio.*Release' '<- ClientAudio.*Close'

session phone_services
host '^dial \+4615550101 \(Ada Lindqvist\)$' '^guide to Home$' '^ +48\.1372 11\.5761$' '^ +Germany$' \
    '^guide to Paper Lantern' '^ +Rue du Lac$' '^voice request 0$' '^voice request 3$'
sees '<- ClientVoiceSupportInfo.*FullSCO' '-> InitiatePhoneCall' '<- PhoneCallStatus.*Received' \
    '<- PhoneCallStatus.*Ended' '-> NavigateTo' '-> ServerVoice.*StartMicAndSpeakers' \
    '<- ClientVoiceSessionStatus.*StartRequested' '<- .*SessionStatus.*Active' '<- .*SessionStatus.*Idle'

session apps
host '^quarlo://app/phone: Phone$' '^icon 1 of quarlo://app/phone is whole$' \
    '^icon [0-9]+ of quarlo://app/link is whole$' '^start of quarlo://app/phone: status 2$'
sees '<- ClientRequestAppIcon.*RGBA8888.*BigEndian' '<- ClientStartApp.*key="mode", value="resume"'

session custom_data
host '^text 1, encoding 1: quarlo phone$' '^number 1: 70$' '^key 10, type 4$' \
    '^bus message 0x230: FF 80 20$'
sees '<- ClientCustomData.*String.*Type=2' '<- .*Int.*Type=65024, pData=\[42, 0\]' \
    '<- .*Key.*Type=4, pData=\[3,' '<- .*Can.*Type=1, pData=\[35, 1, 0, 0, 3, 255' \
    '<- .*Raw.*Type=66, pData=\[1, 2, 3, 4\]' '-> .*Raw.*Type=8258' \
    '<- .*Raw.*Type=66, pData=\[113,' '<- .*Raw.*Type=66, pData=\[113,'

phone --render-percent 50
session frames
host '^([3-9]|[1-9][0-9]+) updates, [1-9][0-9]* pixels drawn, 0 rectangles refused$'
sees '-> FramebufferUpdate.*Width=320.*ScalingPercentageHorizontal=50'
