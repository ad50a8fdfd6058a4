#!/bin/sh
# tools/dist.sh [DIR]: packs the committed sources as DIR/quarlo-VERSION.tar.gz (DIR: out/dist), from which
# everything builds without git. The same commit always gives the same bytes.
set -eu
cd "$(dirname "$0")/.."
out=${1:-out/dist}

if ! git rev-parse --git-dir >/dev/null 2>&1; then
    echo "dist: this is no git repository: what is to be packed is what is committed" >&2
    exit 1
fi
name=quarlo-$(sed -n 's/^project(quarlo VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
[ -z "$(git status --porcelain)" ] || echo "dist: left out: what is not committed"
mkdir -p "$out"
git archive --format=tar --prefix="$name/" HEAD | gzip -9n >"$out/$name.tar.gz"
echo "dist: $out/$name.tar.gz"
