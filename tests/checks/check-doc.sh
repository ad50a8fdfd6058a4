#!/usr/bin/env bash
# check-doc.sh PHONE: docs/check.md explains the rules that the phone lists, in their order. Run in the root of the
# source tree.
set -euo pipefail

# shellcheck disable=SC2016 # the quotes of the table
diff --label docs/check.md --label "quarlo-phone --rules" -U 0 \
    <(sed -n -E 's/^\| `([a-z]+\.[a-z]+)` \| (rule|advice) \|.*/\1 \2/p' docs/check.md) \
    <("$1" --rules | awk '{ print $1, $2 }')
