#!/usr/bin/env bash
# Seeds small faults in src/, plugins/ and links/, one at a time, and says which ones no test finds:
#
#   tools/mutate.sh [--count N] [--seed N] [--only REGEX] [--tests REGEX] [--all]
#
# The faults are chosen by chance from all places that a compiler's eye sees. They stand in a copy of the
# sources, build/mutate, all at once, and an environment variable switches one on: one build serves all.
# out/mutate has the table, the faults that were not found, and which tests reach and find which.
set -euo pipefail
cd "$(dirname "$0")/.."
export LC_ALL=C.UTF-8
exec /usr/bin/python3 tools/mutate/run.py "$@"
