#!/usr/bin/env bash
# Builds the library for both architectures and runs all tests of the 32-bit one, which is the product. Installs what is
# missing first; safe to run again, and quick when nothing has changed.
#
#   scripts/test.sh [CTEST-ARGUMENT...]    for example scripts/test.sh -R errors_test
set -euo pipefail
cd "$(dirname "$0")/.."
SECONDS=0

scripts/setup.sh

cmake --preset mingw-i686 -DQUILLET_BUILD_TESTS=ON
cmake --build --preset mingw-i686

cmake --preset mingw-x86_64 -DQUILLET_BUILD_TESTS=OFF
cmake --build --preset mingw-x86_64

status=0
ctest --test-dir build/mingw-i686 --output-on-failure --no-tests=error --parallel "$(nproc)" "$@" || status=$?
echo "test.sh: finished in $SECONDS s"
exit "$status"
