#!/usr/bin/env bash
# steps.sh PROGRAM...: docs/scripts.md tells of each program's steps what its --steps says, in the same
# order, between the lines "<!-- steps: PROGRAM -->" and "<!-- steps end -->". Run in the root of the source tree.
set -euo pipefail

page=docs/scripts.md
problems=0

# Headings and rows of the program's list; what is allowed stands in them where it is short.
said() {
    "$1" --steps | awk '
        function row() { if (usage != "") print "| `" usage "` | " meaning " |"; usage = "" }
        /^[^ ]/ { row(); print "## " $0 }
        /^  [^ ]/ { row(); usage = substr($0, 3); gsub(/[|]/, "\\\\|", usage) }
        /^      [^ ]/ { meaning = substr($0, 7) }
        /^        [^ ]/ { if (length($0) < 120) meaning = meaning "; " substr($0, 9) }
        END { row() }'
}

# The same as the page has them.
written() {
    awk -v begin="<!-- steps: $1 -->" '
        $0 == "<!-- steps end -->" { shown = 0 }
        shown && (/^## / || /^\| `/) { print }
        $0 == begin { shown = 1 }' "$page"
}

for program in "$@"; do
    name=${program##*/}
    [ -n "$(said "$program")" ] || problems=$((problems + 1))
    diff --label "$page" --label "$name --steps" -U 1 <(written "$name") <(said "$program") ||
        problems=$((problems + 1))
done
[ "$problems" -eq 0 ]
