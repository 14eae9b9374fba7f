#!/usr/bin/env bash
# Compares what the library exports with what it should: the functions of the C interface, which quillet.def has from the
# header, and what tests/exports.txt lists of the C++ classes, which is the same in both widths. The compiler's own helpers
# (thunks and the tables of construction) are left out.
#
#   tests/exports_test.sh BUILD-FOLDER [--update]    --update: writes the list anew
set -euo pipefail

build=$1 list=$(dirname "$0")/exports.txt
tool_prefix=$(sed -n 's/^CMAKE_OBJDUMP:.*=\(.*\)objdump$/\1/p' "$build/CMakeCache.txt")
functions=$(sed '1,2d;s/ *//' "$build/src/quillet.def")

sorted() {
  LC_ALL=C sort -u
}
exports=$("${tool_prefix}objdump" -p "$build/bin/quillet.dll" |
  sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/s/^\t\[.*[[:space:]]//p' | "${tool_prefix}c++filt" -n |
  grep -vE '^(VTT for|construction vtable for|(non-)?virtual thunk to) ' | sorted)

if [ "${2:-}" = --update ]; then
  grep -vxF "$functions" <<<"$exports" >"$list"
else
  # Lines with > are exported by accident, those with < are missing.
  diff <(sorted < <(cat "$list" - <<<"$functions")) - <<<"$exports"
fi
