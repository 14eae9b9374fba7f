#!/usr/bin/env bash
# The bindings: that of Python as far as it needs no Windows, that of Node beside the command-line client and ffmpeg.
#
#   tests/bindings_test.sh WINE-RUN BUILD-FOLDER FFMPEG
set -euo pipefail

root=$(realpath "$(dirname "$0")/..")
wine_run=$1 build=$2 ffmpeg=$3
tools=$("$root/scripts/fetch-node.sh")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

python3 -W error "$root/bindings/python/test/bindings_test.py"

run() { "$wine_run" -t 120 "$build/wineprefix" "$@"; }
for backend in vfw ds; do
  run "$build/bin/quillet.exe" frame "Z:$build/media/cinepak.avi" 42 -o $backend.bmp --backend $backend
  run "$build/bin/quillet.exe" samples "Z:$build/media/ms.avi" 10000 50000 -o $backend.wav --backend $backend
done
# This Node does without what the Windows that Wine is lacks.
export NODE_SKIP_PLATFORM_CHECK=1 NODE_PATH="Z:$tools/node_modules" QUILLET_DLL="Z:$build/bin/quillet.dll"
run "$tools/bin/node.exe" "Z:$root/bindings/node/test/bindings_test.js" "Z:$build/media"

for stream in v a; do
  for file in "$build/media/copy.avi" out.avi; do
    "$ffmpeg" -v error -i "$file" -map "0:$stream" -f md5 -
  done | uniq -c | grep -q '^ *2 ' || { echo "FAILED: stream $stream of the copy" >&2; exit 1; }
done
