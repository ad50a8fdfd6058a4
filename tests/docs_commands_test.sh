#!/usr/bin/env bash
# docs_commands_test.sh SOURCE BUILD PAGE...: every command that these pages show is run as it stands there, until it has
# printed what the text around it promises. What other stages run, or what takes too long, is listed; a command that is
# in neither table fails.
set -uo pipefail

# The port that the commands name is that of a network of their own; where there is none they take turns.
if [ -z "${QUARLO_DOCS_ALONE:-}" ]; then
    export QUARLO_DOCS_ALONE=1
    alone=(flock "$2/docs.lock")
    if unshare --user --map-root-user --net true 2>/dev/null; then
        alone=(unshare --user --map-root-user --net sh -c 'ip link set lo up && exec "$@"' sh)
    fi
    exec timeout 280 "${alone[@]}" "$0" "$@"
fi

source=$(realpath "$1") build=$(realpath "$2")
shift 2
# shellcheck source=tests/support/programs.sh
. "$source/tests/support/programs.sh"
cd "$source" || exit 1
export tries=2000

# What is printed by a block with this in it.
promised() {
    case "$1" in
        *check.script*) return 1 ;;
        *minimal_host*) echo '^minimal_host: 100 updates' ;;
        *links_attach*) echo '^links_attach: the phone closed the connection' ;;
        *links_host*) echo '^running' ;;
        *several_phones*) echo '^phone 0 is there' ;;
        *guide_audio*) echo '^channel of request 1 closed' ;;
        *phone.script*) echo 'STEP .*no-faults' ;;
        *socat*) echo '^ok' ;;
        *tour.script*) echo 'screenshot .*01-home' ;;
        *--window*) echo '(^|[^A-Z])RUN([^A-Z]|$)' ;;
        *"dev/fuzz/fuzz_packet"*) echo 'no findings' ;;
        *statistics.lua*) echo '^FramebufferUpdate ' ;;
        *lua_script*) echo ' quarlo .* ServerInitAcknowledge, ServerInit$' ;;
        *quarlo-replay*) echo '"capture ended"' ;;
        *make-seeds*) echo '' ;;
        quarlo-phone\ *) echo '^listening on' ;;
        *) return 1 ;;
    esac
}

# By whom other commands are run; what nobody runs by itself takes minutes to hours.
elsewhere() {
    case "$1" in
        tools/test.sh* | tools/demo.sh* | "tools/fuzz.sh "*) grep -q "${1%% *}" .ci/run ;;
        "cmake --"*"preset "* | "ctest --preset dev"*)
            local preset=${1#*--preset }
            grep -q "\"name\": \"${preset%% *}\"" CMakePresets.json
            ;;
        "quarlo-phone --check "* | *" --script tools/check.script") grep -q "/check.script" tests/check_test.sh ;;
        "cmake --install "* | "cmake -B build "* | "cmake --build build "* | build/fuzz/* | build/release/bench/* | \
            tools/coverage.sh | tools/mutate.sh | tools/bench.sh*) true ;;
        *) return 1 ;;
    esac
}

# FILE:LINE and the lines of each indented block whose first line is a command.
blocks() {
    awk 'function flush() {
             if (block ~ /^(build\/|tools\/|quarlo-|cmake |ctest |socat |tshark )/) print where "\t" block
             block = ""
         }
         FNR == 1 { flush(); fenced = 0 }
         /^```/ { fenced = !fenced }
         /^    / && !fenced {
             if (block == "") where = FILENAME ":" FNR
             block = block (block == "" ? "" : "\001") substr($0, 5)
             next
         }
         { flush() }
         END { flush() }' "$@"
}

# Files that a command writes are written here; what it reads is where it says.
mkdir "$work/build" && ln -s "$build" "$work/build/dev"
for name in tools docs tests; do ln -s "$source/$name" "$work/$name"; done
cp -r "$source/fuzz" "$work/fuzz"
export PATH=$build/phone:$build/headunit:$build/tools:$PATH
export SDL_VIDEODRIVER=dummy SDL_AUDIODRIVER=dummy

# printed TEXT COMMANDS: the text has come, or where none is promised the commands have ended.
printed() {
    if [ -n "$1" ]; then grep -qE -- "$1" "$work/run.log"; else ! kill -0 "$2"; fi
}
over() { printed "$@" || ! kill -0 "$2"; }
gone() { ! kill -0 -- "$host"; }

# attempt WHERE COMMANDS TEXT: in a process group of its own, which ends when the text has come.
attempt() {
    : >"$work/run.log"
    (cd "$work" && exec setsid bash -c "$2" >"$work/run.log" 2>&1) &
    local commands=$! status=0
    host=-$commands
    eventually "$1: '$2' does not print '$3'" over "$3" "$commands"
    printed "$3" "$commands" || status=1
    kill -- "$host" 2>/dev/null
    wait "$commands"
    eventually "$1: '$2' does not end" gone
    host=''
    return "$status"
}
# run WHERE COMMANDS TEXT: again where they end too early: a user, too, may be faster than a phone that starts.
run() {
    attempt "$@" || attempt "$@" || attempt "$@" || fail "$1: '$2' ends without printing '$3'"
}

count=0
while IFS=$'\t' read -r where block; do
    commands=${block//$'\001'/$'\n'}
    count=$((count + 1))
    if text=$(promised "$commands"); then
        echo "$where: ${commands%%$'\n'*}"
        run "$where" "$commands" "$text"
    else
        while read -r command; do
            elsewhere "$command" || fail "$where: nobody runs '$command'"
        done <<<"$commands"
    fi
done < <(blocks "$@")
[ "$count" -gt 0 ] || fail "no commands were found"
