#!/bin/sh
# Builds the library with everything around it and runs every test.
#
#   tools/test.sh        installs missing Debian packages, builds build/dev, runs its tests
#   tools/test.sh all    everything that CI runs: both compilers, sanitizers, static checks
set -eu
cd "$(dirname "$0")/.."

case "${1-}" in
    "") ;;
    all) exec bash .ci/run ;;
    *)
        echo "usage: tools/test.sh [all]" >&2
        exit 2
        ;;
esac

echo "test: 1 of 4: packages"
sh tools/prepare.sh
echo "test: 2 of 4: configure build/dev"
cmake --preset dev
echo "test: 3 of 4: build"
cmake --build --preset dev -j 2
echo "test: 4 of 4: run the tests"
ctest --preset dev
