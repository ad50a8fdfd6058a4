#!/usr/bin/env bash
# install.sh BUILD VERSION: installs the built tree into a fresh prefix, and has a C and a C++ program
# find it there by find_package and by pkg-config, build and run. Run in the root of the source tree.
set -euo pipefail

build=$1
version=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

# run WHAT COMMAND...: silent unless it fails.
run() {
    local what=$1
    shift
    "$@" >"$work/log" 2>&1 || {
        echo "install: $what failed:"
        cat "$work/log"
        exit 1
    }
}

# says_version WHAT PROGRAM
says_version() {
    local core said number
    IFS=. read -ra number <<<"$version"
    core=$(printf 'C%02d.%02d.%02d ' "${number[@]}")
    said=$("$2") || { echo "install: $1 exits with $?"; exit 1; }
    [[ $said == "$core"* ]] || { echo "install: $1 says \"$said\", not \"$core...\""; exit 1; }
    echo "install: $1: $said"
}

run "cmake --install" cmake --install "$build" --prefix "$prefix"

run "find_package(quarlo)" cmake -S tests/package -B "$work/build" -G Ninja \
    -DCMAKE_PREFIX_PATH="$prefix" -DQUARLO_VERSION="$version"
run "building the consumers" cmake --build "$work/build"
for program in consumer_c consumer_cxx consumer_static consumer_links consumer_links_static; do
    says_version "find_package, $program" "$work/build/$program"
done

pc=$(find "$prefix" -name quarlo.pc)
flags() {
    PKG_CONFIG_PATH=${pc%/*} pkg-config "$@"
}
libdir=$(flags --variable=libdir quarlo)
for package in quarlo quarlo-links; do
    [ "$(flags --modversion "$package")" = "$version" ] ||
        { echo "install: $package.pc has another version"; exit 1; }
done
read -ra options <<<"$(flags --cflags --libs quarlo)"
run "pkg-config, C" cc -std=c11 -o "$work/c" tests/package/consumer.c "${options[@]}"
run "pkg-config, C++" c++ -std=c++17 -o "$work/cxx" tests/package/consumer.cpp "${options[@]}"
read -ra options <<<"$(flags --cflags --libs quarlo-links)"
run "pkg-config, links" cc -std=c11 -o "$work/links" tests/package/consumer_links.c "${options[@]}"
export LD_LIBRARY_PATH=$libdir
says_version "pkg-config, C" "$work/c"
says_version "pkg-config, C++" "$work/cxx"
says_version "pkg-config, links" "$work/links"
unset LD_LIBRARY_PATH
for guide in examples/guides/*.c; do
    run "pkg-config, $guide" cc -std=c11 -o "$work/guide" "$guide" examples/common.c "${options[@]}" -pthread
done

# Programs that were installed find the library and its plug-ins without help.
for program in "$prefix"/bin/*; do
    [ -x "$program" ] || continue
    run "${program##*/} --help" "$program" --help
    echo "install: ${program##*/} --help"
done
