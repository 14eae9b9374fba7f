#!/usr/bin/env bash
# Measures how exact numbers are: makes files of many kinds with ffmpeg, asks the command-line client for their frames and
# samples over both backends, in order and behind a seek, and compares with what ffmpeg decodes. Prints a table in Markdown.
# Installs and builds what is missing first.
#
#   scripts/exactness.sh [--64] [--update] [NAME...]    NAME: only these files, for example h264.mp4;
#                                                       --64: with the 64-bit client
#
# --update puts the table into docs/exactness.md. The files, and what each was measured by, stay in build/exactness.
set -euo pipefail

. "$(dirname "$0")/width.sh"
cd "$(dirname "$0")/.."
update=
case "${1:-}" in
  --help) sed -n '2,9s/^# \{0,1\}//p' "$0"; exit 0 ;;
  --update) update=1; shift ;;
esac

scripts/setup.sh
build=build/$preset
cmake --preset "$preset" >/dev/null
cmake --build "$build" --target quillet_cli >/dev/null

work=$PWD/build/exactness
mkdir -p "$work"
scripts/exactness.py "$build" "$work" "$@" >"$work/table.md" || { cat "$work/table.md"; exit 1; }
cat "$work/table.md"
if [ -n "$update" ]; then
  sed -i -e '/<!-- measured -->/,/<!-- end -->/{//!d}' -e "/<!-- measured -->/r $work/table.md" docs/exactness.md
fi
