#!/usr/bin/env bash
# Runs cppcheck over src/. Its own preprocessor does not expand the catalogue's macros, so the compiler
# does it, with empty system headers: what they declare cppcheck knows from its own descriptions. A source that was
# found clean is not looked at again while its text stays the same; ~/.cache/quarlo-cppcheck remembers it.
set -euo pipefail
cd "$(dirname "$0")/.."

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

sed -nE 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*<([^>]+)>.*/\1/p' src/*.h src/*.cpp | sort -u |
    while read -r header; do
        mkdir -p "$work/empty/$(dirname "$header")"
        : >"$work/empty/$header"
    done

options=(--language=c++ --std=c++20 --library=posix --inline-suppr --error-exitcode=1
    "--enable=warning,performance,portability")
clean=${XDG_CACHE_HOME:-$HOME/.cache}/quarlo-cppcheck
mkdir -p "$clean" "$work/marks"

# The comments stay, because they may hold suppressions; line markers take the form that cppcheck reads.
for source in src/*.cpp; do
    text=$work/${source##*/}
    g++ -E -C -std=c++20 -nostdinc -isystem "$work/empty" -Isrc "$source" |
        sed -E 's/^#( [0-9]+ "[^"]*").*/#line\1/' >"$text"
    mark=$({ cppcheck --version && echo "${options[*]}" && sed "s:$work::" "$text"; } | sha256sum | cut -d ' ' -f 1)
    if [ -e "$clean/$mark" ]; then rm "$text"; else : >"$work/marks/$mark"; fi
done

if [ -n "$(find "$work" -maxdepth 1 -name '*.cpp')" ]; then
    cppcheck --quiet -j 2 "${options[@]}" "$work"/*.cpp
fi
find "$work/marks" -type f -exec cp -t "$clean" {} +
echo "cppcheck: $(find src -name '*.cpp' | wc -l) sources, $(find "$work" -maxdepth 1 -name '*.cpp' | wc -l) of them changed"
