#!/bin/sh
# tools/package-check.sh: builds the Debian packages twice, in different folders, time zones and languages, and wants
# the same bytes; has lintian find no error and no warning; and installs them into an empty Debian root, where
# hosts of every kind find and use them, also out of the tarball of tools/dist.sh. Takes a quarter of an hour, needs
# root and the packages debhelper, lintian and mmdebstrap besides those of debian/control. What CI checks of
# this every time is in checks.install and in its stages install and plain.
set -eu
cd "$(dirname "$0")/.."
version=$(sed -n 's/^project(quarlo VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)

sh tools/package.sh out/packages
(
    export TZ=Pacific/Kiritimati LC_ALL=C HOME=/nonexistent
    sh tools/package.sh out/packages-of-another-name >/dev/null
)
for package in out/packages/*.deb; do
    cmp "$package" "out/packages-of-another-name/${package##*/}"
done
echo "package-check: built twice, the same bytes"

lintian --allow-root --fail-on error,warning out/packages/*.changes
echo "package-check: lintian finds no error and no warning"

sh tools/dist.sh out/packages
(cd out/packages && dpkg-scanpackages --multiversion . >Packages 2>/dev/null)
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
# The same Debian as here, whose packages quarlo's are built for.
mmdebstrap --variant=minbase --aptopt='Acquire::Retries "3"' --components=main \
    --include=g++,cmake,make,pkg-config,libquarlo-dev,quarlo-tools \
    --customize-hook="copy-in out/packages/quarlo-$version.tar.gz /root" \
    "$(sed -n s/^VERSION_CODENAME=//p /etc/os-release)" "$root" \
    "deb [trusted=yes] copy:$PWD/out/packages ./" http://deb.debian.org/debian
cat >"$root/root/use.sh" <<EOF
set -eu
cd /root
tar -xzf quarlo-$version.tar.gz
cd quarlo-$version
bash tests/package/use.sh /usr $version
cmake -S tests/subproject -B /root/sub && cmake --build /root/sub -j2 && /root/sub/host
cmake -S tests/subproject -B /root/fetched -DFETCH=ON && cmake --build /root/fetched -j2 && /root/fetched/host
EOF
log=out/packages/use.log
# Without /proc the loader does not know where a program lies. It is mounted for this command only.
# shellcheck disable=SC2016 # that shell's own arguments
unshare --mount sh -c 'mount -t proc proc "$1/proc" && unset TMPDIR && exec chroot "$1" sh /root/use.sh' use "$root" \
    >"$log" 2>&1 || {
    tail -n 40 "$log"
    exit 1
}
grep '^use: \|left out\|^C0' "$log"
echo "package-check: installed into an empty root, and used there"
