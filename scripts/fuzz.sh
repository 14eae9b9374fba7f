#!/usr/bin/env bash
# Feeds damaged media files to the library, over both backends. Prints what they broke by module, cause and operation, and
# how to see each again; the status is 0 when nothing of it is the library's. A file depends on the seed and its number
# alone.
#
#   scripts/fuzz.sh [--64] [SECONDS] [SEED]               default: 60 seconds, seed 1; --64 for the 64-bit library
#   scripts/fuzz.sh [--64] --count FILES [SEED]           so many files, however long it takes
#   scripts/fuzz.sh [--64] --mutant NUMBER SEED [FILE]    one file, kept as FILE
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/width.sh
case "${1:-}" in
  --count) seed=${3:-1} first=0 end=$2 seconds=86400 file=() ;;
  --mutant) seed=$3 first=$2 end=$(($2 + 1)) seconds=600 file=("${@:4}") ;;
  *) seed=${2:-1} first=0 end=2147483647 seconds=${1:-60} file=() ;;
esac

scripts/setup.sh
cmake --preset "$preset" >/dev/null
cmake --build "build/$preset" --target quillet_fuzz -- --quiet
# What it is at when its time is up may take its own time.
scripts/wine-run.sh -t $((seconds + 180)) "build/$preset/wineprefix" "build/$preset/bin/quillet_fuzz.exe" \
  "$seed" "$first" "$end" "$seconds" "${file[@]}"
