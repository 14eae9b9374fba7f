#!/usr/bin/env bash
# Lets the library work for long, over both backends: rounds of opening, reading, writing and deleting, after which it may
# hold no more than the bare platform does after as many; and threads that read at random, each with streams of its own,
# what one thread reads. Where they fail, the bare platform gets as long to fail, too. The status is 0 when nothing is the
# library's.
#
#   scripts/soak.sh [--64] [MINUTES] [SEED]    default: 10 minutes, a seed of the day; --64 for the 64-bit library
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/width.sh
minutes=${1:-10}
seed=${2:-$(date +%j)}
seconds=$((minutes * 60 / 12))  # Of a schedule: there are nine, and the rounds take the time of about three.

scripts/setup.sh
build=build/$preset
cmake --preset "$preset" -DQUILLET_BUILD_TESTS=ON >/dev/null
cmake --build "$build" --target quillet_soak -- --quiet

soak() {
  scripts/wine-run.sh -t $((minutes * 60 + 300)) "$build/wineprefix" "$build/bin/quillet_soak.exe" "$@"
}

status=0
soak rounds vfw $((minutes * 100)) || status=1
soak rounds ds $((minutes * 20)) || status=1
for what in vfw codecs ds; do
  for threads in 1 4 16; do
    result=0
    soak threads $what library $threads $seconds "$seed" || result=$?
    [ $result -eq 0 ] && continue
    echo "$what, $threads threads: failed with status $result"
    if soak threads $what bare $threads $seconds "$seed"; then
      status=1
    else
      echo "$what, $threads threads: so does the bare platform"
    fi
  done
done
exit "$status"
