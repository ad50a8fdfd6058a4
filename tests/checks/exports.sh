#!/usr/bin/env bash
# exports.sh LIBRARY: the shared library exports exactly the functions of src/libquarlo.map, under its
# version, and these are exactly the functions that the public headers declare. Run in the source root.
set -euo pipefail
export LC_ALL=C

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

problems=0
# same WHAT FILE OTHER-WHAT OTHER-FILE
same() {
    diff --label "$1" --label "$3" -U 0 "$2" "$4" || problems=$((problems + 1))
}

version=$(sed -n '1s/ {$//p' src/libquarlo.map)
sed -n '/global:/,/local:/s/^ *\([A-Za-z_0-9]*\);$/\1/p' src/libquarlo.map >"$work/map"
sort -u "$work/map" >"$work/map.sorted"
same "libquarlo.map" "$work/map" "libquarlo.map, sorted" "$work/map.sorted"

# A declaration runs from QUARLO_API to its semicolon; the function's name stands before the first parenthesis.
sed '/^#/d' src/*.h | tr '\n' ' ' | sed 's:/\*[^*]*\*\+\([^/*][^*]*\*\+\)*/: :g' |
    grep -oP '\bQUARLO_API\b[^;(]*?\K\w+(?=\s*\()' | sort -u >"$work/headers"
same "declared QUARLO_API in src/*.h" "$work/headers" "libquarlo.map" "$work/map.sorted"

nm -D --defined-only "$1" >"$work/nm"
awk -v node="$version" '!($2 == "A" && $3 ~ "^" node) { print $3 }' "$work/nm" | sort >"$work/exported"
sed "s/\$/@@$version/" "$work/map.sorted" | sort >"$work/expected"
same "exported by ${1##*/}" "$work/exported" "libquarlo.map" "$work/expected"

# Debian's packages tell by it which version a host needs.
sed -n "s/^ \(.*\)@$version .*/\1/p" debian/libquarlo1.symbols | grep -vx "$version" >"$work/debian"
same "debian/libquarlo1.symbols" "$work/debian" "libquarlo.map" "$work/map.sorted"

soname=$(readelf -d "$1" | sed -n 's/.*(SONAME).*\[\(.*\)\]$/\1/p')
if [ "$soname" != libquarlo.so.1 ]; then
    echo "SONAME is \"$soname\", not libquarlo.so.1"
    problems=$((problems + 1))
fi

echo "exports: $(wc -l <"$work/map") functions, version $version, $problems problems"
[ "$version" = QUARLO_1.2 ] && [ -s "$work/map" ] && [ "$problems" -eq 0 ]
