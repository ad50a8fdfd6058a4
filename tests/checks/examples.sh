#!/usr/bin/env bash
# Programs shown in docs/ are the compiled ones: a code block below a line "<!-- file: PATH -->" holds
# exactly that file, below "<!-- file: PATH PIECE -->" what stands in it between the lines
# "/* guide: PIECE */" and "/* guide end */". Every piece is shown. Run in the root of the source tree.
set -euo pipefail

problems=0
blocks=0

# The text of a file or of a piece of it, moved to the left margin.
text() {
    if [ -z "$2" ]; then
        cat "$1"
    else
        awk -v piece="/* guide: $2 */" '
            { line = $0; sub(/^ +/, "", line) }
            line == "/* guide end */" { shown = 0 }
            shown { print substr($0, margin + 1) }
            line == piece { shown = 1; margin = length($0) - length(line) }' "$1"
    fi
}

while IFS=: read -r page line marker; do
    read -r path piece <<<"$(sed -E 's/^<!-- file: (.*) -->$/\1/' <<<"$marker")"
    blocks=$((blocks + 1))
    # The block runs from the fence in the next line to the first closing fence. All is read to the end:
    # a reader that stops early would end the writer of the pipe with a signal.
    tail -n "+$((line + 1))" "$page" | awk 'NR == 1 { isOver = !/^```./; next } /^```$/ { isOver = 1 } !isOver { print }' |
        diff --label "$page:$line" --label "$path $piece" -U 1 - <(text "$path" "$piece") ||
        problems=$((problems + 1))
done < <(grep -rnHE --include='*.md' '^<!-- file: .* -->$' docs)

while IFS=: read -r path piece; do
    grep -rqF --include='*.md' "<!-- file: $path $piece -->" docs && continue
    echo "$path: the piece '$piece' is not shown in docs/"
    problems=$((problems + 1))
done < <(grep -rHE '/\* guide: ' examples | sed -E 's|: */\* guide: (.*) \*/$|:\1|')

echo "examples: $blocks files and pieces shown in docs/, $problems problems"
[ "$blocks" -gt 0 ] && [ "$problems" -eq 0 ]
