#!/usr/bin/env bash
# Checks what the compiler does not: who includes whom, the code's format, clang-tidy's checks, the public headers'
# comments. Status 0 when there is nothing to say.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh --dev
build=build/style
cmake --preset mingw-i686 -B "$build" >/dev/null
# The manual's warnings are errors. Doxygen lets members pass that have no comment, values of enumerations for one.
cmake --build "$build" --target docs -- --quiet
python3 - "$build"/docs/xml/*.xml <<'PYTHON'
import sys
import xml.etree.ElementTree as ElementTree

bare = 0
for file in sys.argv[1:]:
    for member in ElementTree.parse(file).iter("memberdef"):
        if member.get("prot") != "private" and member.get("kind") != "friend":
            for each in [member, *member.iter("enumvalue")]:
                if not any("".join(part.itertext()).strip() for part in each if part.tag.endswith("description")):
                    print(member.find("location").get("file"), member.findtext("name"), each.findtext("name"), "has no comment")
                    bare += 1
sys.exit(bare > 0)
PYTHON

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
