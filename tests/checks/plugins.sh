#!/usr/bin/env bash
# plugins.sh QUARLO-INFO PLUGIN...: each plug-in exports its two entry points, has no soname and needs
# nothing of the library; quarlo-info tells of good, bad and missing ones. QUARLO-INFO is
# "none" where it is not built.
set -euo pipefail
export LC_ALL=C

info=$1
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

problems=0
problem() {
    echo "$*"
    problems=$((problems + 1))
}

zlib=
for plugin in "$@"; do
    name=${plugin##*/}
    case $name in
        *Decomp*) entries="quarloCompression_decompress quarloCompression_initialise" ;;
        *) entries="quarloScale_initialise quarloScale_scale" ;;
    esac
    [[ $name != *Decomp01* ]] || zlib=$plugin
    exported=$(nm -D --defined-only "$plugin" | awk '{ print $3 }' | sort | xargs)
    [ "$exported" = "$entries" ] || problem "$name exports: $exported"
    dynamic=$(readelf -d "$plugin")
    [[ $dynamic != *SONAME* ]] || problem "$name has a soname"
    [[ $dynamic != *libquarlo* ]] || problem "$name needs the library"
done

# told STATUS PATTERN...: quarlo-info exits with this status and tells each of these.
told() {
    local status=$1 said got=0 pattern
    shift
    said=$("$info" "${options[@]}" 2>&1) || got=$?
    [ "$got" -eq "$status" ] || problem "quarlo-info ${options[*]} exits with $got, not $status"
    for pattern in "$@"; do
        grep -Eq -- "$pattern" <<<"$said" || problem "quarlo-info tells no \"$pattern\" in: $said"
    done
}

if [ "$info" != none ]; then
    options=()
    told 0 '^libQUARLO-Decomp00.so +usable +[0-9.]+ +JPEG +/.*/libQUARLO-Decomp00.so$' \
        '^libQUARLO-Decomp01.so +usable +[0-9.]+ +ZLIB +/' '^libQUARLO-Decomp02.so +not needed' \
        '^libQUARLO-Decomp31.so +absent .*cannot open shared object file' \
        '^libQUARLO-Scale00.so +usable +[0-9.]+ +scaling +/' "^ +${zlib%/*}\$"

    export LD_LIBRARY_PATH=$work
    : >"$work/libQUARLO-Decomp03.so"
    cp "$zlib" "$work/libQUARLO-Decomp04.so"
    echo 'int quarloCompression_initialise(void* p) { return p != 0 ? 7 : 0; }' >"$work/refuses.c"
    cc -shared -fPIC -o "$work/libQUARLO-Decomp05.so" "$work/refuses.c"
    echo 'int nothing;' >"$work/empty.c"
    cc -shared -fPIC -o "$work/libQUARLO-Decomp06.so" "$work/empty.c"
    options=(--found)
    told 1 '^libQUARLO-Decomp03.so +UNUSABLE .*file too short' \
        "^libQUARLO-Decomp04.so +UNUSABLE .*$work/.*: decodes ZLIB, .* stands for compression 0x10" \
        '^libQUARLO-Decomp05.so +UNUSABLE .*refuses with 7' \
        '^libQUARLO-Decomp06.so +UNUSABLE .*exports no quarloCompression_initialise'
fi

echo "plugins: $# plug-ins checked, $problems problems"
[ "$problems" -eq 0 ]
