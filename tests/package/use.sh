#!/usr/bin/env bash
# use.sh PREFIX VERSION: hosts in C99, C11 and C++17 find the quarlo that is installed in PREFIX by find_package and by
# pkg-config, shared and static, build and run; the installed programs meet. Run in the root of the source tree.
set -euo pipefail

prefix=$1
version=$2
work=$(mktemp -d)
phone=
trap '[ -z "$phone" ] || kill "$phone" 2>/dev/null || true; rm -rf "$work"' EXIT

# run WHAT COMMAND...: silent unless it fails.
run() {
    local what=$1
    shift
    "$@" >"$work/log" 2>&1 || {
        echo "use: $what failed:"
        cat "$work/log"
        exit 1
    }
}

# says_version WHAT PROGRAM
says_version() {
    local core said number
    IFS=. read -ra number <<<"$version"
    core=$(printf 'C%02d.%02d.%02d ' "${number[@]}")
    said=$("$2") || { echo "use: $1 exits with $?"; exit 1; }
    [[ $said == "$core"* ]] || { echo "use: $1 says \"$said\", not \"$core...\""; exit 1; }
    echo "use: $1: $said"
}

run "find_package(quarlo)" cmake -S tests/package -B "$work/build" \
    -DCMAKE_PREFIX_PATH="$prefix" -DQUARLO_VERSION="$version"
run "building the consumers" cmake --build "$work/build"
for program in consumer_c consumer_cxx consumer_static consumer_links consumer_links_static; do
    says_version "find_package, $program" "$work/build/$program"
done

pc=$(find "$prefix"/lib* -name quarlo.pc)
flags() {
    PKG_CONFIG_PATH=${pc%/*} pkg-config "$@"
}
libdir=$(flags --variable=libdir quarlo)
for package in quarlo quarlo-links; do
    [ "$(flags --modversion "$package")" = "$version" ] ||
        { echo "use: $package.pc has another version"; exit 1; }
done
# compiled WHAT PACKAGE SOURCE COMPILER...: builds it shared and static, and runs both.
compiled() {
    local what=$1 package=$2 source=$3 shared static
    shift 3
    read -ra shared <<<"$(flags --cflags --libs "$package")"
    read -ra static <<<"$(flags --static --cflags --libs "$package" |
        sed -E "s:-l(quarlo(-links)?)( |$):$libdir/lib\1.a :g")"
    run "pkg-config, $what" "$@" -o "$work/host" "tests/package/$source" "${shared[@]}"
    LD_LIBRARY_PATH=$libdir says_version "pkg-config, $what" "$work/host"
    run "pkg-config, $what, static" "$@" -o "$work/host" "tests/package/$source" "${static[@]}"
    says_version "pkg-config, $what, static" "$work/host"
}
compiled C99 quarlo consumer.c cc -std=c99 -pedantic-errors -Wall -Werror
compiled "C++17" quarlo consumer.cpp c++ -std=c++17 -pedantic-errors -Wall -Werror
compiled links quarlo-links consumer_links.c cc -std=c11 -pedantic-errors -Wall -Werror
read -ra options <<<"$(flags --cflags --libs quarlo-links)"
for guide in examples/guides/*.c; do
    run "pkg-config, $guide" cc -std=c11 -o "$work/guide" "$guide" examples/common.c "${options[@]}" -pthread
done

# Programs that were installed find the library and its plug-ins without help.
run "quarlo-info" "$prefix/bin/quarlo-info" --found
"$prefix/bin/quarlo-phone" --unix "$work/phone" --once --max-seconds 120 >"$work/phone.log" 2>&1 &
phone=$!
run "a session" "$prefix/bin/quarlo-headunit" --unix "$work/phone" --reconnect 60 --size 320x180 --frames 3 \
    --capture "$work/session.pcapng"
wait "$phone"
phone=
run "playing its capture" "$prefix/bin/quarlo-replay" "$work/session.pcapng"
[ "$(grep -c '"FrameUpdate"' "$work/log")" -ge 3 ] || { echo "use: no frames in the capture"; exit 1; }
echo "use: quarlo-headunit shows 3 frames of quarlo-phone, and quarlo-replay once more"
