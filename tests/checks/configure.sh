#!/usr/bin/env bash
# configure.sh: the library alone is configured with a compiler and CMake, and says which plug-ins it leaves out;
# what is missing for more than that, and what excludes each other, is told in one line each. Run in the source root.
set -euo pipefail
export LC_ALL=C

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

missing=()
for package in ZLIB JPEG PNG CLI11 GTest benchmark PkgConfig nlohmann_json; do
    missing+=("-DCMAKE_DISABLE_FIND_PACKAGE_$package=ON")
done
problems=0
# tells STATUS OPTION... -- LINE...: a configuration ends so, and each line stands in what it says.
tells() {
    local wanted=$1 status=0 line
    local options=()
    shift
    while [ "$1" != -- ]; do
        options+=("$1")
        shift
    done
    shift
    rm -rf "$work/build"
    cmake -S . -B "$work/build" -G Ninja "${options[@]}" >"$work/said" 2>&1 || status=1
    for line in "$@"; do
        grep -qF -- "$line" "$work/said" || { echo "not told: $line"; problems=$((problems + 1)); }
    done
    [ "$status" -eq "$wanted" ] || { echo "ends with $status: ${options[*]}"; problems=$((problems + 1)); }
    [ "$problems" -eq 0 ] || cat "$work/said"
}

alone=(-DQUARLO_BUILD_APPS=OFF -DQUARLO_BUILD_TESTS=OFF)
tells 0 "${alone[@]}" "${missing[@]}" -- \
    "-- The zlib plug-in is left out: zlib is missing (apt-get install zlib1g-dev)" \
    "-- The JPEG plug-in is left out: libjpeg is missing (apt-get install libjpeg62-turbo-dev)"
targets=$(ninja -C "$work/build" -t targets all)
for target in quarlo quarlo_links quarlo_static QUARLO-Scale00; do
    [[ $targets == *"$target: phony"* ]] || { echo "not built: $target"; problems=$((problems + 1)); }
done
[[ $targets != *Decomp* && $targets != *bench* ]] || { echo "built without its library"; problems=$((problems + 1)); }

tells 1 "${missing[@]}" -DQUARLO_PLUGIN_SCALING=OFF -DQUARLO_BUILD_FUZZ=ON -DCMAKE_CXX_COMPILER=g++ \
    -DQUARLO_SANITIZE=address,thread -DQUARLO_HARDENING=ON -- \
    "QUARLO_BUILD_APPS needs CLI11, which is missing: apt-get install libcli11-dev, or configure with -DQUARLO_BUILD_APPS=OFF" \
    "QUARLO_BUILD_APPS needs pkg-config" \
    "QUARLO_BUILD_TESTS needs GTest" \
    "QUARLO_BUILD_BENCH needs benchmark" \
    "QUARLO_BUILD_TESTS needs every plug-in: configure with -DQUARLO_PLUGIN_SCALING=ON" \
    "QUARLO_BUILD_FUZZ needs clang" \
    "address and thread exclude each other" \
    "QUARLO_SANITIZE and QUARLO_HARDENING exclude each other"

echo "configure: $problems problems"
[ "$problems" -eq 0 ]
