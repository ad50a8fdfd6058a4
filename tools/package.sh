#!/bin/sh
# tools/package.sh [DIR]: builds the Debian packages of debian/ in DIR (out/packages), from a copy of the sources
# that it lays out there. Needs the packages that debian/control names; `apt-get build-dep .` installs them.
# tools/package-check.sh tells whether the packages are good.
set -eu
cd "$(dirname "$0")/.."
out=${1:-out/packages}

version=$(sed -n 's/^project(quarlo VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
packaged=$(sed -n '1s/.*(\(.*\)).*/\1/p' debian/changelog)
if [ "$version" != "$packaged" ]; then
    echo "package: debian/changelog says $packaged, CMakeLists.txt $version" >&2
    exit 1
fi

rm -rf "$out"
mkdir -p "$out/quarlo-$version"
# What git would not know, or is not a part of the sources, is left behind.
tar -c --exclude=./build --exclude='./build-*' --exclude=./out --exclude=./.git --exclude=./.cache . |
    tar -x -C "$out/quarlo-$version"
(
    cd "$out/quarlo-$version"
    dpkg-buildpackage --no-sign >../build.log 2>&1
) || {
    tail -n 20 "$out/build.log" | cut -c 1-200
    echo "package: the build failed; all it said: $out/build.log" >&2
    exit 1
}
rm -rf "$out/quarlo-$version"
for file in "$out"/*.deb; do
    echo "package: $file"
done
