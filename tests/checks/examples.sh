#!/usr/bin/env bash
# Programs shown in docs/ are the compiled ones: a code block below a line "<!-- file: PATH -->" holds
# exactly that file. Run in the root of the source tree.
set -euo pipefail

problems=0
blocks=0
while IFS=: read -r page line marker; do
    path=$(sed -E 's/^<!-- file: (.*) -->$/\1/' <<<"$marker")
    blocks=$((blocks + 1))
    # The block runs from the fence in the next line to the first closing fence. All is read to the end:
    # a reader that stops early would end the writer of the pipe with a signal.
    tail -n "+$((line + 1))" "$page" | awk 'NR == 1 { isOver = !/^```./; next } /^```$/ { isOver = 1 } !isOver { print }' |
        diff --label "$page:$line" --label "$path" -U 1 - "$path" || problems=$((problems + 1))
done < <(grep -nHE '^<!-- file: .* -->$' docs/*.md)

echo "examples: $blocks files shown in docs/, $problems problems"
[ "$blocks" -gt 0 ] && [ "$problems" -eq 0 ]
