#!/usr/bin/env bash
# Checks what the compiler does not: who includes whom, the code's format, clang-tidy's checks, the public headers'
# comments. Status 0 when there is nothing to say.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh --dev
build=build/style
cmake --preset mingw-i686 -B "$build" >/dev/null
# The manual's warnings are errors.
cmake --build "$build" --target docs -- --quiet

scripts/check-floors.sh

mapfile -t files < <(git ls-files -co --exclude-standard '*.h' '*.cpp')
clang-format --dry-run -Werror "${files[@]}"

# clang knows neither the cross compiler's folders nor its target, nor all of its options. The compiler's own headers,
# those of SSE for one, are no use to it: it has its own.
includes=$(i686-w64-mingw32-g++-win32 -E -x c++ - -v </dev/null 2>&1 |
  sed -n '/^#include <...>/,/^End of search list/{\#gcc/[^/]*/[^/]*/include\(-fixed\)\?$#d;s/^ /-extra-arg=-isystem/p}')
mapfile -t sources < <(git ls-files -co --exclude-standard 'src/*.cpp' 'tools/*.cpp' 'examples/*.cpp')
# shellcheck disable=SC2086
printf '%s\n' "${sources[@]}" |
  xargs -P "$(nproc)" -n 4 clang-tidy -p "$build" --quiet -extra-arg=-target -extra-arg=i686-w64-windows-gnu \
    -extra-arg=-Qunused-arguments $includes \
    2> >(grep -vE 'warnings? (generated|treated)|^Suppressed|^Use -' >&2)
echo "style: nothing to say"
