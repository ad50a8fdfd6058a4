#!/bin/sh
# tools/docs.sh [DIR]: makes one site of the guides, the reference of all public headers and the programs' options, in
# DIR (out/docs); begin at DIR/index.html. Nothing is fetched, and the search works from the file system. The
# options are asked of the programs in build/dev, and left out, with a line that says so, where these are not built.
set -eu
cd "$(dirname "$0")/.."
out=${1:-out/docs}

command -v doxygen >/dev/null || {
    echo "docs: doxygen is missing: apt-get install doxygen" >&2
    exit 1
}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
rm -rf "$out"
mkdir -p "$out/files"

pages="README.md CHANGELOG.md SECURITY.md CONTRIBUTING.md $(echo docs/*.md docs/guides/*.md phone/pictures/*.md)"
options=$work/programs.md
if [ -x build/dev/phone/quarlo-phone ] && [ -x build/dev/headunit/quarlo-headunit ]; then
    {
        echo "# Programs"
        for program in phone/quarlo-phone headunit/quarlo-headunit tools/quarlo-info tools/quarlo-replay; do
            [ -x "build/dev/$program" ] || continue
            printf '\n## %s\n\n```\n' "${program##*/}"
            "build/dev/$program" --help
            printf '```\n'
        done
    } >"$options"
    pages="$pages $options"
else
    echo "docs: the programs' options are left out: build/dev is not built"
fi

# What the pages link to besides each other.
# shellcheck disable=SC2086 # a list of words
for page in $pages; do
    perl tools/docs/page.pl "$page"
done | grep -oE '\]\(files/[^) ]+' | sed 's/^](files\///' | sort -u | while read -r file; do
    mkdir -p "$out/files/$(dirname "$file")"
    if [ -f "$file" ]; then cp "$file" "$out/files/$file"; fi
done

headers="src/QUARLO-Core.h src/QUARLO-Core-Types.h src/QUARLO-Core-Engineering-Types.h"
headers="$headers src/QUARLO-LibDecompress.h src/QUARLO-LibScale.h $(echo links/quarlo-*.h)"
headers="$headers src/QUARLO.Connector.IVI-API-Types_C.h"
{
    cat tools/docs/Doxyfile
    echo "PROJECT_NUMBER = $(sed -n 's/^project(quarlo VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)"
    echo "INPUT = $pages $headers"
    echo "OUTPUT_DIRECTORY = $work"
} >"$work/Doxyfile"
doxygen "$work/Doxyfile" 2>"$work/complaints" || true
cp -r "$work"/html/. "$out"
if grep -v '^$' "$work/complaints"; then
    echo "docs: doxygen complains" >&2
    exit 1
fi
echo "docs: $out/index.html, $(find "$out" -name '*.html' | wc -l) pages"
