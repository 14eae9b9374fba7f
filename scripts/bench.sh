#!/usr/bin/env bash
# Builds and runs the benchmarks: what the library costs over the bare platform calls, and what reading in other orders
# costs over reading forwards. The status tells whether every figure keeps its limit. Run it on an idle machine.
#
#   scripts/bench.sh [--64] [NAME...]    default: all, of the 32-bit library
#   scripts/bench.sh [--64] --peer       frames a second in several orders, beside those of FFMS2
#
# FFMS2 reads natively, the library under Wine. It makes an index of each file first, which is not counted, and uses as
# many threads as it takes by itself.
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/width.sh
if [ "${1:-}" = --peer ]; then
  scripts/setup.sh --with libffms2-dev g++
else
  scripts/setup.sh
fi
build=build/$preset
cmake --preset "$preset" -DQUILLET_BUILD_BENCH=ON >/dev/null

if [ "${1:-}" = --peer ]; then
  cmake --build "$build" --target patterns_bench -- --quiet
  # shellcheck disable=SC2046
  g++ -std=c++20 -O2 -Wall -Wextra -Ibench bench/peer/ffms2_bench.cpp $(pkg-config --cflags --libs ffms2) \
    -o "$build/ffms2_bench"
  ours=$(scripts/wine-run.sh -t 600 "$build/wineprefix" "$build/bin/patterns_bench.exe" --peer)
  theirs=$("$build/ffms2_bench" "$build/media")
  echo "frames a second, ours / FFMS2"
  paste <(echo "$ours") <(echo "$theirs") |
    awk -F'\t' 'BEGIN { row = "%-24s %16s %16s %16s\n"; printf row, "", "MPEG-4 360p", "MJPEG 360p", "H.264 720p" }
      { printf row, $1, $2 " / " $6, $3 " / " $7, $4 " / " $8 }'
  exit
fi

if [ $# -eq 0 ]; then
  mapfile -t names <"$build/benches.txt"
else
  names=("$@")
fi
cmake --build "$build" --target "${names[@]}" -- --quiet

status=0
for name in "${names[@]}"; do
  echo "== $name"
  scripts/wine-run.sh -t 600 "$build/wineprefix" "$build/bin/$name.exe" || status=1
done
exit "$status"
