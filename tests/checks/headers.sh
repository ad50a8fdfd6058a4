#!/usr/bin/env bash
# headers.sh PUBLIC...: each public header compiles alone as C11 and as C++17, every other header of src/
# alone as C++20, with each compiler that is installed. Run in the root of the source tree.
set -euo pipefail

warnings=(-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
compilers=()
for candidate in g++ clang++-14 clang++; do
    command -v "$candidate" >/dev/null || continue
    [[ $candidate == clang++ && " ${compilers[*]} " == *clang* ]] || compilers+=("$candidate")
done
[ "${#compilers[@]}" -gt 0 ] || { echo "headers: no compiler found"; exit 1; }

# compile COMPILER LANGUAGE STANDARD HEADER
compile() {
    # The declaration after it: a header of macros alone leaves an empty unit, which C forbids.
    printf '#include "%s"\nextern int unit;\n' "$4" |
        "$1" -fsyntax-only -x "$2" -std="$3" "${warnings[@]}" -Isrc - || {
        echo "headers: $4 does not compile alone as $3 with $1"
        return 1
    }
}

failed=0
count=0
for compiler in "${compilers[@]}"; do
    for path in src/*.h; do
        header=${path##*/}
        count=$((count + 1))
        if [[ " $* " == *" $header "* ]]; then
            compile "$compiler" c c11 "$header" || failed=$((failed + 1))
            compile "$compiler" c++ c++17 "$header" || failed=$((failed + 1))
        else
            compile "$compiler" c++ c++20 "$header" || failed=$((failed + 1))
        fi
    done
done
for header in "$@"; do
    [ -e "src/$header" ] || { echo "headers: public header $header is missing"; failed=$((failed + 1)); }
done

echo "headers: $count headers alone with ${compilers[*]}, $failed failures"
[ "$failed" -eq 0 ]
