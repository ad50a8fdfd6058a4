#!/bin/sh
# tools/sysroot.sh ARCHITECTURE: lays out the Debian packages that the library's tests and plug-ins need of
# another processor (armhf, arm64, s390x) in build/sysroot/ARCHITECTURE. Uses package lists of its own, so that the
# packages of this machine, and what its apt knows, stay as they are. Does nothing when all are there.
set -eu
cd "$(dirname "$0")/.."

packages="libgtest-dev libgmock-dev
    zlib1g zlib1g-dev libdeflate0 libdeflate-dev
    libjpeg62-turbo libjpeg62-turbo-dev libstb0 libstb-dev"

architecture=$1
root=$PWD/build/sysroot/$architecture
# What is wanted is part of the mark: a longer list lays the folder out again.
mark=$root/complete
# Links that start at the root of the file system start at this one.
relink() {
    find "$root" -type l -lname '/*' | while read -r link; do
        ln -sfnr "$root$(readlink "$link")" "$link"
    done
}
if [ "$(cat "$mark" 2>/dev/null)" = "$packages" ]; then
    relink
    echo "sysroot: $root is complete"
    exit 0
fi

rm -rf "$root"
apt=$root/apt
mkdir -p "$apt/lists/partial" "$apt/archives/partial"
: >"$apt/status"
cat >"$apt/apt.conf" <<EOF
APT::Architecture "$architecture";
APT::Architectures "$architecture";
APT::Sandbox::User "root";
Acquire::Retries "3";
Acquire::Languages "none";
Dir::State "$apt";
Dir::State::status "$apt/status";
Dir::Cache "$apt";
EOF
export APT_CONFIG="$apt/apt.conf"

# A list that a mirror is just renewing need not be the one with our packages: the download decides.
apt-get -q update || echo "sysroot: not every package list could be fetched"
# shellcheck disable=SC2086 # a list of words
(cd "$apt/archives" && apt-get -q download $packages)
for file in "$apt"/archives/*.deb; do
    dpkg-deb -x "$file" "$root"
done
rm -rf "$apt"
relink
echo "$packages" >"$mark"
echo "sysroot: $root is laid out"
