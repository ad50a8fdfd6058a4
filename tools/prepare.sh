#!/bin/sh
# Installs the Debian packages of tools/packages.txt that are missing: as root directly, else through
# sudo. Does nothing when everything is there. `tools/prepare.sh --check` only tells what is missing.
set -eu

list=$(dirname "$0")/packages.txt
wanted=$(sed -e 's/#.*//' "$list")

missing=
for package in $wanted; do
    status=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$status" = installed ] || missing="$missing $package"
done
if [ -z "$missing" ]; then
    echo "prepare: every package of tools/packages.txt is installed"
    exit 0
fi

echo "prepare: missing:$missing"
[ "${1-}" != --check ] || exit 1

if [ "$(id -u)" -eq 0 ]; then
    as_root=
elif command -v sudo >/dev/null 2>&1; then
    as_root=sudo
else
    echo "prepare: run this as root, or install sudo" >&2
    exit 1
fi

# $as_root and $missing are lists of words; env, because sudo drops the variable otherwise.
echo "prepare: apt-get update, then apt-get install of the missing packages"
# shellcheck disable=SC2086
$as_root apt-get -q -o Acquire::Retries=3 update
# shellcheck disable=SC2086
$as_root env DEBIAN_FRONTEND=noninteractive apt-get -q -y -o Acquire::Retries=3 \
    install --no-install-recommends $missing
echo "prepare: done"
