#!/usr/bin/env bash
# The programs' windows on a display of their own, with somebody who moves the mouse and presses keys.
#
#   window_test.sh BUILD [DIRECTORY]
#       DIRECTORY gets pictures of the head unit's window
set -uo pipefail

if [ "${QUARLO_WINDOW_TEST-}" != inside ]; then
    export QUARLO_WINDOW_TEST=inside
    # The same pixels whatever graphics there are.
    export SDL_RENDER_DRIVER=software
    # SDL unloads the display's libraries at its end, and what leaked in them has no name any more that
    # could be suppressed. Leaks of the window are found where it has no display: headunit_window_test.
    export ASAN_OPTIONS=${ASAN_OPTIONS-}:detect_leaks=0
    exec timeout 290 xvfb-run -a -s "-screen 0 1600x1000x24 -nolisten tcp" "$0" "$@"
fi

# shellcheck source=tests/support/programs.sh
. "$(dirname "$0")/support/programs.sh"

build=$1 pictures=${2-}

# begin_phone OPTIONS...: a phone that waits for a head unit
begin_phone() {
    rm -f "$work/phone.log"
    start_phone "$build" "$work" --max-seconds 280 --seed 1 --clock 12:00:00 --verbose "$@"
}

begin_unit() {
    rm -f "$work/unit.log" "$work/errors.log"
    timeout 280 "$build/headunit/quarlo-headunit" --connect "$address" "$@" >"$work/unit.log" \
        2>"$work/errors.log" &
    unit=$!
}

# the_end PROCESS STATUS
the_end() {
    wait "$1"
    local status=$?
    [ "$status" -eq "$2" ] || fail "ended with status $status instead of $2"
}

focus() {
    window=$(timeout 20 xdotool search --sync --onlyvisible --name "^$1\$" | head -n 1)
    [ -n "$window" ] || fail "there is no window '$1'"
    xdotool windowfocus --sync "$window" 2>/dev/null
}

point() { xdotool mousemove --sync --window "$window" "$1" "$2"; }
click() {
    point "$1" "$2"
    xdotool click 1
}

phone_got() { eventually "the phone did not get: $1" grep -qE -- "<- .*$1" "$work/phone.log"; }
times() { [ "$(grep -cE -- "<- .*$2" "$work/phone.log")" -eq "$1" ]; }
touched() { phone_got "TouchType=$1 \([A-Za-z]+\), PositionX=$2, PositionY=$3, UniqueID=1"; }

picture() {
    rm -f "$work/window.png"
    xdotool key p
    eventually "there is no picture of the window" test -s "$work/window.png"
    [ -z "$pictures" ] || cp "$work/window.png" "$pictures/$1.png"
}

[ -z "$pictures" ] || mkdir -p "$pictures"

# The window is 300 wider than the phone's screen.
begin_phone
begin_unit --window --size 800x480 --window-screenshot "$work/window.png"
eventually "no frames" grep -q "end of update 3" "$work/unit.log"
focus "quarlo head unit"

click 400 240
touched 1 400 240
touched 2 400 240
click 900 240 # the panel
point 799 479
xdotool mousedown 1
touched 1 799 479
point 10 20
touched 3 10 20
# Outside of the window, with the button still down.
xdotool mousemove 5 5
eventually "the finger stays down" times 2 "TouchType=2"
xdotool mouseup 1

xdotool key n
phone_got "DayNightMode.*Value=0"
xdotool key n Escape
phone_got "Softkey.*Back"
eventually "the softkey stays pressed" times 2 SoftkeyEvent
# Apps of the phone that want something: it is opened, its first row is touched.
for wish in "229 audio Request" "571 navigate" "63 call"; do
    click "${wish%% *}" 393
    click 150 118
    eventually "the phone does not want: ${wish#* }" grep -q "CALL  ${wish#* }" "$work/unit.log"
    xdotool key Home
done
picture small

xdotool windowsize --sync "$window" 980 540
phone_got "SetFrameSize.*ScreenWidth=680, ScreenHeight=540"
eventually "no frame of the new size" grep -qE "of 680 x 540," "$work/unit.log"
click 679 539
touched 1 679 539
xdotool key Home
click 340 290
touched 2 340 290
eventually "not as many touches as were made" times 10 "TouchType=1"
picture large
picture large
xdotool key q
the_end "$unit" 0
[ ! -s "$work/errors.log" ] || fail "the head unit complained"

# Without its phone the window stays, until it is closed.
begin_unit --window --size 640x400 --window-screenshot "$work/window.png"
eventually "no frames" grep -q "end of update 3" "$work/unit.log"
focus "quarlo head unit"
kill "$phone"
the_end "$phone" 0
eventually "nobody noticed" grep -q "closed the connection" "$work/errors.log"
picture gone
xdotool key q
the_end "$unit" 1

# A phone that comes back is told what was set meanwhile.
phone_place=(--unix "$work/phone")
begin_phone
begin_unit --window --size 640x400 --reconnect
eventually "no frames" grep -q "end of update 3" "$work/unit.log"
focus "quarlo head unit"
kill "$phone"
the_end "$phone" 0
eventually "nobody tries again" grep -q "next try" "$work/unit.log"
xdotool key v
begin_phone
phone_got "SetFrameSize.*ScreenWidth=640, ScreenHeight=400"
phone_got "Movement.*Value=1"
click 320 200
touched 2 320 200
xdotool key q
the_end "$unit" 0
kill "$phone"
the_end "$phone" 0

# An app opened by a touch in the phone's own window is the app that the head unit is shown.
begin_phone --window --size 800x480
focus "quarlo phone"
click 314 395
mkdir "$work/touched" "$work/opened"
eventually "the touch opened no app" "$build/headunit/quarlo-headunit" --quiet --frames 1 \
    --connect "$address" --size 800x480 --output "$work/touched"
kill "$phone"
the_end "$phone" 0
begin_phone --app news
begin_unit --frames 1 --size 800x480 --output "$work/opened"
the_end "$unit" 0
"$build/tools/quarlo-compare" "$work/touched/frame-0001.png" "$work/opened/frame-0001.png" ||
    fail "the touch in the phone's window did not open the app"

unset DISPLAY WAYLAND_DISPLAY SDL_VIDEODRIVER
begin_unit --window
the_end "$unit" 1
unit=
[ "$(wc -l <"$work/errors.log")" -eq 1 ] || fail "not one line about the missing display"
grep -q "no display" "$work/errors.log" || fail "nothing says that there is no display"
