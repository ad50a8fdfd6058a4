#!/usr/bin/env bash
# interface.sh LIBRARY: each header of the links compiles alone as C11 and as C++17, and the library exports
# exactly the functions that they declare. Run in the root of the source tree.
set -euo pipefail
export LC_ALL=C

warnings=(-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
for compiler in g++ clang++; do
    command -v "$compiler" >/dev/null || continue
    for language in "c c11" "c++ c++17"; do
        read -r name standard <<<"$language"
        for header in links/quarlo-*.h; do
            printf '#include "%s"\nextern int unit;\n' "${header##*/}" |
                "$compiler" -fsyntax-only -x "$name" -std="$standard" "${warnings[@]}" -Isrc -Ilinks -
        done
    done
done

declared=$(grep -ohP '^QUARLO_API\b.*?\K\w+(?=\()' links/quarlo-*.h | sort)
exported=$(nm -D --defined-only "$1" | awk '$2 == "T" { print $3 }' | sed 's/@.*//' | sort)
# Debian's packages tell by them which version a host needs.
packaged=$(sed -n 's/^ \(quarlo.*\)@.*/\1/p' debian/libquarlo-links1.symbols)
diff --label declared --label exported <(echo "$declared") <(echo "$exported") || exit 1
diff --label declared --label debian/libquarlo-links1.symbols <(echo "$declared") <(echo "$packaged") || exit 1
echo "interface: $(wc -l <<<"$declared") functions"
[ "$(wc -l <<<"$declared")" -gt 20 ]
