#!/usr/bin/env bash
# search-paths.sh FILE...: no library, plug-in or program makes the loader search the current folder, where
# anybody may have put a library: not by an empty entry, and not by a relative one.
set -euo pipefail
export LC_ALL=C

problems=0
for file in "$@"; do
    path=$(readelf -d "$file" | sed -n 's/.*(R\(UN\)\?PATH).*\[\(.*\)\]$/:\2:/p')
    if grep -qE ":(:|[^/$:])" <<<"$path"; then
        echo "${file##*/} searches the current folder: \"$path\""
        problems=$((problems + 1))
    fi
done

echo "search-paths: $# files checked, $problems problems"
[ "$problems" -eq 0 ]
