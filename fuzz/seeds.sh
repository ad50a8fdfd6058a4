#!/usr/bin/env bash
# seeds.sh MAKE-SEEDS CORPUS: the seeds in the tree are those that the program makes now.
set -eu
make_seeds=$1
corpus=$2

made=$(mktemp -d)
trap 'rm -rf "$made"' EXIT
"$make_seeds" "$made"
status=0
for target in "$made"/*; do
    diff -rq "$target" "$corpus/${target##*/}" | grep -vE '^Only in .*: (found|kept)-' && status=1
done
if [ "$status" -ne 0 ]; then
    echo "the seeds differ; make them anew: $make_seeds fuzz/corpus"
fi
exit "$status"
