#!/bin/sh
# tools/man.sh BIN-DIR MAN-DIR: writes a manual page for each program of quarlo in BIN-DIR, made from what its
# --help says. The name line is the beginning of that text. Needs the package help2man.
set -eu
bin=$1
man=$2

mkdir -p "$man"
for program in "$bin"/quarlo-*; do
    name=${program##*/}
    what=$("$program" --help | sed -n '1s/[.:].*//p')
    help2man --no-info --section 1 --name "$what" --output "$man/$name.1" "$program"
    echo "man: $name.1: $what"
done
