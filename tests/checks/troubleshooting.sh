#!/usr/bin/env bash
# docs/troubleshooting.md tells of every error and warning in src/, and is what is generated. Run in the root of the
# source tree.
set -euo pipefail
made=$(mktemp)
trap 'rm -f "$made"' EXIT
sh tools/troubleshooting.sh >"$made"
diff -U 1 docs/troubleshooting.md "$made" || {
    echo "run: tools/troubleshooting.sh > docs/troubleshooting.md"
    exit 1
}
echo "troubleshooting: $(grep -oE '(ERR|WRN) `' "$made" | wc -l) texts with cause and remedy"
