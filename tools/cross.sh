#!/bin/sh
# Builds the library, the links, the plug-ins and their tests for another processor and runs them under an
# emulator.
#
#   tools/cross.sh armhf [CTEST-OPTION...]    32-bit ARM
#   tools/cross.sh arm64 [CTEST-OPTION...]    64-bit ARM
#   tools/cross.sh s390x [CTEST-OPTION...]    big-endian
set -eu
cd "$(dirname "$0")/.."

case "${1-}" in
    armhf | arm64 | s390x) ;;
    *)
        echo "usage: tools/cross.sh armhf|arm64|s390x [CTEST-OPTION...]" >&2
        exit 2
        ;;
esac
processor=$1
shift

sh tools/prepare.sh
sh tools/sysroot.sh "$processor"
cmake --preset "$processor" --fresh
cmake --build --preset "$processor" -j 2
ctest --preset "$processor" "$@"
cat <<EOF
not run: tests of the programs: they are not built for other processors
not run: checks: they read sources, which do not change with the processor
not run: tests of serial lines: the emulator does not know the calls that set any rate (TCGETS2, TCSETS2)
not run: memory after a thousand lost sessions: the emulator's own counts too
EOF
[ "$processor" != s390x ] || echo "not run: comparison with another scaler, which convolves otherwise on this processor"
