#!/usr/bin/env bash
# doxygen.sh HEADER...: all that hosts and plug-ins see in these headers of src/ and in those of links/ has
# docstrings, which name every parameter and result. Run in the root of the source tree.
set -euo pipefail

command -v doxygen >/dev/null || { echo "doxygen: it is not installed"; exit 1; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
headers=("${@/#/src/}" links/quarlo-*.h)
{
    cat tests/checks/Doxyfile
    echo "INPUT = ${headers[*]}"
    echo "OUTPUT_DIRECTORY = $work"
} >"$work/Doxyfile"
# It does not look at enumerators by itself.
{
    doxygen "$work/Doxyfile" 2>&1 || echo "doxygen exits with $?"
    awk '/<enumvalue / { getline; name = $0; gsub(/ *<[^>]*>/, "", name); text = "" }
        name != "" { text = text $0 }
        /<\/enumvalue>/ { if (text !~ /<para>/) print "enumerator " name " is not documented"; name = "" }' "$work"/xml/*.xml
} | sed "s|^$PWD/||" | tee "$work/log"

seen=$(cat "$work"/xml/*_8h.xml | grep -cE '<memberdef kind="function"' || true)
echo "doxygen: $seen functions and callbacks of ${#headers[@]} headers, $(wc -l <"$work/log") lines of complaints"
[ "$seen" -gt 0 ] && [ ! -s "$work/log" ]
