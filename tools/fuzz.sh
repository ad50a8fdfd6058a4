#!/usr/bin/env bash
# Fuzzes the library, two targets at a time, from the inputs that the tree keeps.
#
#   tools/fuzz.sh [SECONDS [TARGET...]]     default: 20 seconds each of all targets
#
# Inputs that reach something new are gathered in out/fuzz/corpus/<target>, which later runs start from
# too. Stops at the first finding and tells where its input is; ends with a line for each target.
set -uo pipefail
cd "$(dirname "$0")/.." || exit 1
seconds=${1-20}
case $seconds in
    '' | *[!0-9]*)
        echo "usage: tools/fuzz.sh [SECONDS [TARGET...]]" >&2
        exit 2
        ;;
esac
[ "$#" -eq 0 ] || shift
targets=("$@")
[ "$#" -ne 0 ] || targets=(dispatch packet session plugins api)

export UBSAN_OPTIONS=print_stacktrace=1
cmake --preset fuzz && cmake --build --preset fuzz -j 2 || exit 1

out=out/fuzz
mkdir -p "$out"
rm -f "$out"/*.log "$out"/*.status

# fuzz TARGET: leaves its output in TARGET.log and its exit status in TARGET.status.
fuzz() {
    local name=$1 status=0
    mkdir -p "$out/corpus/$name" "$out/findings"
    build/fuzz/fuzz/fuzz_"$name" -max_total_time="$seconds" -max_len=4096 -timeout=10 \
        -rss_limit_mb=2048 -dict=fuzz/corpus/packets.dict -print_final_stats=1 \
        -artifact_prefix="$out/findings/$name-" \
        "$out/corpus/$name" "fuzz/corpus/$name" >"$out/$name.log" 2>&1 || status=$?
    echo "$status" >"$out/$name.status"
    return "$status"
}

# Started in pairs; a finding keeps the next pair from being started.
failed=0
for ((i = 0; i < ${#targets[@]} && failed == 0; i += 2)); do
    jobs=()
    for name in "${targets[@]:i:2}"; do
        echo "fuzz: $name, $seconds s"
        fuzz "$name" &
        jobs+=($!)
    done
    for job in "${jobs[@]}"; do
        wait "$job" || failed=1
    done
done

for name in "${targets[@]}"; do
    log=$out/$name.log
    if [ ! -e "$out/$name.status" ]; then
        printf '%-9s not run\n' "$name"
        continue
    fi
    executions=$(awk '/stat::number_of_executed_units/ { print $2 }' "$log")
    coverage=$(grep -o 'cov: [0-9]*' "$log" | tail -n 1)
    findings=none
    if [ "$(cat "$out/$name.status")" -ne 0 ]; then
        findings=$(sed -n 's/.*Test unit written to //p' "$log" | tail -n 1)
        findings=${findings:-see $log}
    fi
    printf '%-9s %9s executions  %-10s findings: %s\n' "$name" "${executions:-?}" \
        "${coverage:-cov: ?}" "$findings"
done
exit "$failed"
