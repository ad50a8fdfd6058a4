#!/usr/bin/env bash
# abi.sh BUILD [renew]: what hosts were compiled against still holds in the libraries of this build: no exported
# function is missing, none changed its signature, no type of the interface changed its layout. Described in
# abi; functions may be added. With "renew" the descriptions are written first: for a release, and with a
# change that docs/versioning.md allows, as a struct of the links that grows at its end. Run in the root of the
# source tree.
set -euo pipefail

build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Only what these headers declare is the interface.
mkdir "$work/headers"
cp src/QUARLO-Core{,-Types,-Engineering-Types}.h src/QUARLO.Connector.IVI-API-Types_C.h src/*.def \
    links/quarlo-*.h "$work/headers"
describe=(abidw --headers-dir "$work/headers" --drop-private-types --exported-interfaces-only
    --no-show-locs --no-comp-dir-path --no-corpus-path --no-elf-needed)

status=0
for library in libquarlo libquarlo-links; do
    now=$work/$library.abi
    "${describe[@]}" --out-file "$now" "$(find "$build" -path "*/lib*/$library.so" -print -quit)"
    [ "${2-}" != renew ] || cp "$now" abi
    abidiff --no-added-syms "abi/$library.abi" "$now" || status=1
    echo "abi: $library: $(grep -c "<function-decl" "$now") functions described"
done
exit $status
