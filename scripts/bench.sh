#!/usr/bin/env bash
# Builds and runs the benchmarks: what the library costs over the bare platform calls. The status tells whether every
# figure keeps its limit. Run it on an idle machine.
#
#   scripts/bench.sh [--64] [NAME...]    default: all, of the 32-bit library
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/width.sh
scripts/setup.sh
build=build/$preset
cmake --preset "$preset" -DQUILLET_BUILD_BENCH=ON >/dev/null
if [ $# -eq 0 ]; then
  mapfile -t names <"$build/benches.txt"
else
  names=("$@")
fi
cmake --build "$build" --target "${names[@]}" -- --quiet

status=0
for name in "${names[@]}"; do
  echo "== $name"
  scripts/wine-run.sh -t 300 "$build/wineprefix" "$build/bin/$name.exe" || status=1
done
exit "$status"
