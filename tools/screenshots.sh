#!/usr/bin/env bash
# Makes the pictures of docs/images anew: what the test of the windows sees.
#
#   tools/screenshots.sh [BUILD]
set -euo pipefail
cd "$(dirname "$0")/.."

build=${1-build/dev}
cmake --build "$build" -j 2 --target quarlo-phone quarlo-headunit quarlo-compare
pictures=$(mktemp -d)
trap 'rm -rf "$pictures"' EXIT
bash tests/window_test.sh "$build" "$pictures"
mkdir -p docs/images
cp "$pictures/large.png" docs/images/headunit-window.png
ls -l docs/images
