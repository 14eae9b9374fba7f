#!/usr/bin/env bash
# Copies and converts a file with the command-line client, and compares what ffmpeg, which reads on its own, finds in the
# results.
#
#   tests/copy_test.sh WINE-RUN BUILD-FOLDER FFMPEG
set -euo pipefail

wine_run=$1 build=$2 ffmpeg=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

ds_prefix=$build/muxprefix
"$(dirname "$0")/mux_prefix.sh" "$wine_run" "$build"

# What a stream holds: the packets as they are, with their times, sizes and key flags, or what they decode to, all in one.
packets() {
  ffprobe -v error -select_streams "$2" -show_packets -show_data_hash CRC32 \
    -show_entries packet=pts_time,size,flags,data_hash -of csv=p=0 "$1"
}
decoded() {
  "$ffmpeg" -v error -i "$1" -map "0:$2" -f md5 -
}

# check HOW PREFIX FILE STREAMS COMMAND... : runs the client, and expects each stream of the result to hold what it held.
check() {
  local how=$1 prefix=$2 in=$build/media/$3 streams=$4
  shift 4
  "$wine_run" -t 60 "$prefix" "$build/bin/quillet.exe" "$1" "Z:$in" "Z:$work/out.avi" "${@:2}"
  for stream in $streams; do
    "$how" "$in" "$stream" >"$work/in"
    "$how" "$work/out.avi" "$stream" >"$work/out"
    if [ ! -s "$work/in" ] || ! diff -u "$work/in" "$work/out"; then
      echo "FAILED: stream $stream after $*" >&2
      exit 1
    fi
  done
}

# Both streams, told in JSON.
"$wine_run" "$build/wineprefix" "$build/bin/quillet.exe" info --json "Z:$build/media/copy.avi" |
  python3 -c 'import json, sys; assert [s["kind"] for s in json.load(sys.stdin)["streams"]] == ["video", "audio"]'

# Wine's AVIFile writes no audio.
check packets "$build/wineprefix" copy.avi v copy --video --backend vfw
check packets "$build/wineprefix" cinepak.avi v copy --backend vfw
check decoded "$build/wineprefix" copy.avi v convert --video --backend vfw
# Wine's splitter turns pictures over that are stored top-down, as ffmpeg stores them.
check decoded "$ds_prefix" copy.avi 'v a' copy --backend ds
check decoded "$ds_prefix" copy.avi 'v a' convert --backend ds
check decoded "$ds_prefix" copy.avi a copy --audio --period 100 --backend ds
