#!/usr/bin/env bash
# The site of guides and reference can be made: every link between pages, and from pages to names, leads somewhere. Run
# in the root of the source tree.
set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
sh tools/docs.sh "$work/site"
while read -r file; do
    [ -e "$work/site/$file" ] || { echo "site: there is no $file"; exit 1; }
done < <(grep -ohE 'href="files/[^"#]*' "$work"/site/*.html | sed 's/href="//' | sort -u)
