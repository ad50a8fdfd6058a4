#!/bin/sh
# tools/bareroot.sh [--cache]: does what the README promises, from nothing: in an empty root of this Debian with git and
# a shell, it clones what is committed here and gives the README's two commands. Needs root and the package
# mmdebstrap; an hour on two cores. --cache lends the root a copy of this machine's compiler cache, which saves most
# of it. All that is said is kept in out/bareroot.
set -eu
cd "$(dirname "$0")/.."

case "${1-}" in
    "" | --cache) ;;
    *)
        echo "usage: tools/bareroot.sh [--cache]" >&2
        exit 2
        ;;
esac
commands=$(sed -n '/^## Two commands/,/^## /s:^    \(tools/[a-z]*\.sh\) .*:\1:p' README.md)
if [ "$(echo "$commands" | wc -w)" -ne 2 ]; then
    echo "bareroot: README.md shows no two commands" >&2
    exit 1
fi

logs=$PWD/out/bareroot
rm -rf "$logs"
mkdir -p "$logs"
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT

codename=$(sed -n s/^VERSION_CODENAME=//p /etc/os-release)
echo "bareroot: Debian $codename in $root"
mmdebstrap --quiet --variant=minbase --aptopt='Acquire::Retries "3"' --components=main --include=git \
    "$codename" "$root" http://deb.debian.org/debian
cp /etc/resolv.conf "$root/etc/resolv.conf"
git bundle create --quiet "$root/root/quarlo.bundle" HEAD
if [ "${1-}" = --cache ]; then
    mkdir -p "$root/root/.cache"
    cp -a "$(ccache --get-config cache_dir)" "$root/root/.cache/ccache"
fi

# Processes and mounts of its own, which end with it. Its / is a mount point, as on a machine or in a container.
# shellcheck disable=SC2016 # that shell's own arguments
inside='mount --bind "$1" "$1"
    mount -t proc proc "$1/proc"
    mount -t sysfs sysfs "$1/sys"
    mount --rbind /dev "$1/dev"
    root=$1
    shift
    exec env -i HOME=/root LANG=C.UTF-8 PATH=/usr/sbin:/usr/bin:/sbin:/bin chroot "$root" "$@"'
in_root() {
    unshare --mount --pid --fork --kill-child sh -euc "$inside" inside "$root" sh -euc "$1"
}

in_root 'cd && git clone --quiet -c advice.detachedHead=false quarlo.bundle quarlo'
for command in $commands; do
    log=$logs/$(basename "$command" .sh).log
    start=$(date +%s)
    in_root "cd /root/quarlo && $command" >"$log" 2>&1 || {
        tail -n 40 "$log"
        echo "bareroot: $command failed; all it said: $log" >&2
        exit 1
    }
    echo "bareroot: $command: $(($(date +%s) - start)) s"
    grep -E 'tests passed|\(Disabled\)|\*\*\*Skipped|not available' "$log" || tail -n 1 "$log"
done
