#!/bin/sh
# tools/troubleshooting.sh: writes docs/troubleshooting.md, of all errors and warnings in src/, on its output.
# Fails when docs/troubleshooting.txt does not tell the cause and the remedy of each.
set -eu
cd "$(dirname "$0")/.."
texts=$(mktemp)
trap 'rm -f "$texts"' EXIT
perl tools/trace-texts.pl src/*.cpp >"$texts"
perl tools/troubleshooting.pl "$texts" docs/troubleshooting.txt
