#!/usr/bin/env bash
# install.sh BUILD VERSION: installs the built tree into a fresh prefix, moves that, and has it used. Run in the
# root of the source tree.
set -euo pipefail

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$1" --prefix "$work/prefix" >"$work/log" 2>&1 || {
    cat "$work/log"
    exit 1
}
mv "$work/prefix" "$work/moved"
bash tests/package/use.sh "$work/moved" "$2"
