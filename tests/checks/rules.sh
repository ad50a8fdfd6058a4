#!/usr/bin/env bash
# Rules of the sources in src/ that a search can check. Comments and the contents of string literals are
# out of the search. Run in the root of the source tree.
set -euo pipefail

# The preprocessor only strips comments here: macros stay as they are.
code() {
    g++ -fpreprocessed -dD -E -P -x c++ "$1" 2>/dev/null |
        sed -E -e '/^[[:space:]]*#[[:space:]]*include/d' -e 's/"([^"\\]|\\.)*"/""/g'
}

problems=0
# forbid WHY PATTERN FILES...
forbid() {
    local why=$1 pattern=$2 file found
    shift 2
    for file in "$@"; do
        [ -e "$file" ] || continue
        if found=$(code "$file" | grep -P -- "$pattern"); then
            printf '%s: %s\n%s\n' "$file" "$why" "$found"
            problems=$((problems + 1))
        fi
    done
}

all=(src/*.cpp src/*.h)
elsewhere=()
for file in "${all[@]}"; do
    [[ $file == src/QUARLO-Posix.cpp ]] || elsewhere+=("$file")
done

# One seam for memory: a host, or a test, that takes it over gets every allocation. Placement new is free.
forbid "allocates beside the platform layer; use quarlo_malloc and quarlo_free" \
    '(?<![.>\w])(malloc|calloc|realloc|reallocarray|aligned_alloc|posix_memalign|strdup|strndup|asprintf|free)\s*\(' \
    "${elsewhere[@]}"
forbid "new and delete stand in the platform layer only" \
    '\bnew\b(?!\s*\()|\boperator\s+new\b|\bnew\s*\(\s*std::nothrow|(?<!=)(?<!= )\bdelete\b(?!;)|\bdelete\s*\[' \
    "${elsewhere[@]}"
forbid "allocates beside the platform layer and cannot report failure" \
    '\bstd::(string|vector|deque|list|forward_list|map|multimap|set|multiset|unordered_\w+|function|any|shared_ptr|make_shared|make_unique|thread|jthread|async|[io]?stringstream)\b' \
    "${elsewhere[@]}"
forbid "writes without a bound" '\b(v?sprintf|strcpy|strcat|stpcpy|gets)\s*\(' "${all[@]}"
# What the phone makes grow must not be searched for every element.
others=()
for file in "${all[@]}"; do
    [[ $file == src/QUARLO-Core-List.* ]] || others+=("$file")
done
forbid "searches the whole list; use listAppendFresh" '\blistAppendElement\b' "${others[@]}"
forbid "asks sizeOf_PacketHeader instead of knowing the header's size" '(?<![\w.])9[uUlLzZ]*(?![\w.])' \
    src/QUARLO_Receive*.cpp

echo "rules: ${#all[@]} files of src/ checked, $problems problems"
[ "$problems" -eq 0 ]
