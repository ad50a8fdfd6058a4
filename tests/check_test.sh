#!/usr/bin/env bash
# check_test.sh BUILD SCENARIO: the phone program checks the reference head unit. The scenarios are the functions
# below the helpers; QUARLO_REPORTS is where reports are kept.
set -uo pipefail
# shellcheck source=tests/support/programs.sh
. "$(dirname "$0")/support/programs.sh"

build=$1 scenario=$2
source=$(realpath "$(dirname "$0")/..")
reports=${QUARLO_REPORTS:-$work}

# checked NAME STATUS OPTIONS...: a head unit with these options gets this status, and the table is in NAME.table.
checked() {
    local name=$1 expected=$2 unit phone status
    shift 2
    rm -f "$work/$name.port"
    "$build/phone/quarlo-phone" --check --port 0 --port-file "$work/$name.port" --max-seconds 120 \
        --report "$reports/check-$name.xml" >"$work/$name.table" 2>"$work/$name-phone.log" &
    phone=$!
    eventually "the phone does not listen" test -s "$work/$name.port"
    "$build/headunit/quarlo-headunit" --connect "127.0.0.1:$(cat "$work/$name.port")" --init-timeout 0 \
        "$@" >"$work/$name-unit.log" 2>&1 &
    unit=$!
    wait "$phone"
    status=$?
    kill "$unit" 2>/dev/null
    wait "$unit"
    [ "$status" -eq "$expected" ] || fail "$name: status $status: $(grep -v ^PASS "$work/$name.table")"
    grep -q '^<testsuite name="quarlo-check" tests="35"' "$reports/check-$name.xml" || fail "$name: no report"
}
# only NAME WORDS: no line of the table begins with other words, but the summary.
only() {
    ! grep -vE "^($2) |^35 rules: " "$work/$1.table" || fail "$1: other lines"
}

script() {
    checked script 0 --script "$source/tools/check.script" --reconnect --size 320x240
    only script PASS
}

# At one time, as they mostly wait.
formats() {
    local checks=() check
    checked plain 0 & checks+=($!)
    checked rgb888 0 --size 321x203 --reconnect --format rgb888 --endian big --compression zlib & checks+=($!)
    checked rgb565 0 --size 321x203 --reconnect --format rgb565 --compression raw & checks+=($!)
    checked rgba8888 0 --size 321x203 --reconnect --format rgba8888 --compression jpeg & checks+=($!)
    for check in "${checks[@]}"; do wait "$check" || exit 1; done
    for check in plain rgb888 rgb565 rgba8888; do only $check 'PASS|NOT SEEN'; done
    grep -q '^PASS  *refusal.handshake ' "$work/rgb565.table" || fail "no refusal was seen"
}

faults() {
    checked leaves 1 --size 321x203 --frames 5
    [ "$(grep -c ^FAIL "$work/leaves.table")" = 1 ] || fail "not one fault"
    grep -q '^FAIL  *session.stay  *connection 1, packet ' "$work/leaves.table" || fail "another fault"
    grep -q '^  <testcase .*name="session.stay"><failure message="connection 1, ' "$reports/check-leaves.xml" ||
        fail "not reported"
    "$build/phone/quarlo-phone" --check --port 0 --max-seconds 0.2 >"$work/nobody.table" 2>"$work/phone.log"
    [ $? -eq 3 ] || fail "nobody came, and it was no matter"
    only nobody 'NOT SEEN'
    "$build/phone/quarlo-phone" --check --port 0 --report /proc/none/x >"$work/wrong.table" 2>"$work/phone.log"
    [ $? -eq 2 ] || fail "a report that cannot be written is no wrong usage"
    [ ! -s "$work/wrong.table" ] || fail "a table was printed"
}

"$scenario"
