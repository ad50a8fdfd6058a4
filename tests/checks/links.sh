#!/usr/bin/env bash
# Links between the pages: a file that a page links to or shows exists, and so does the heading behind a
# "#". Run in the root of the source tree.
set -euo pipefail

problems=0
links=0

# The anchors of a page's headings, as forges make them.
anchors() {
    awk '/^```/ { code = !code } !code && /^#+ / { sub(/^#+ +/, ""); print tolower($0) }' "$1" |
        sed -E 's/\[([^]]*)\]\([^)]*\)/\1/g; s/[^[:alnum:] _-]//g; s/ /-/g'
}

# check PAGE LINK
check() {
    local page=$1 file=${2%%#*} anchor=
    [[ $2 != *"#"* ]] || anchor=${2#*#}
    local target=$page
    [ -z "$file" ] || target=$(dirname "$page")/$file
    links=$((links + 1))
    if [ ! -e "$target" ]; then
        echo "$page: there is no $target"
    elif [ -n "$anchor" ] && ! grep -qxF -- "$anchor" <(anchors "$target"); then
        echo "$page: $target has no heading for #$anchor"
    else
        return 0
    fi
    problems=$((problems + 1))
}

while read -r page; do
    while read -r link; do
        [[ $link =~ ^(https?|mailto): ]] || check "$page" "$link"
    done < <(awk '/^```/ { code = !code } !code' "$page" | grep -oE '\]\([^) ]+\)' | sed -E 's/^\]\(//; s/\)$//')
done < <(find . \( -name build -o -name "build-*" -o -name out -o -name .git \) -prune -o -name "*.md" -print | sed "s:^\./::")

echo "links: $links followed, $problems problems"
[ "$links" -gt 0 ] && [ "$problems" -eq 0 ]
