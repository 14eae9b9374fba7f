#!/usr/bin/env bash
# Copies and converts a file with the command-line client, and compares what ffmpeg, which reads on its own, finds in the
# results.
#
#   tests/copy_test.sh WINE-RUN BUILD-FOLDER FFMPEG
set -euo pipefail

wine_run=$1 build=$2 ffmpeg=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# A prefix in which DirectShow writes with the tests' multiplexer, and reads with Wine's own splitter, which does not decode.
ds_prefix=$build/muxprefix
if [ ! -e "$ds_prefix/registered" ]; then
  "$wine_run" -t 120 "$ds_prefix" "$build/bin/quillet.exe" --help >/dev/null  # Makes the prefix as wide as the client.
  for class in E2510970-F137-11CE-8B67-00AA00A3F1A6 8596E5F0-0DA5-11D0-BD21-00A0C911CE86; do
    "$wine_run" -t 60 "$ds_prefix" \
      reg add "HKCR\\CLSID\\{$class}\\InprocServer32" /ve /d "Z:$build/bin/quillet_test_mux.dll" /f /reg:64
  done
  splitter='HKCR\CLSID\{083863F1-70DE-11D0-BD40-00A0C911CE86}\Instance\{F9D8D64E-A144-47DC-8EE0-F53498372C29}'
  "$wine_run" -t 60 "$ds_prefix" reg delete "$splitter" /f /reg:64
  touch "$ds_prefix/registered"
fi

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

# Wine's AVIFile writes no audio.
check packets "$build/wineprefix" copy.avi v copy --video --backend vfw
check packets "$build/wineprefix" cinepak.avi v copy --backend vfw
check decoded "$build/wineprefix" copy.avi v convert --video --backend vfw
# Wine's splitter turns pictures over that are stored top-down, as ffmpeg stores them.
check decoded "$ds_prefix" copy.avi 'v a' copy --backend ds
check decoded "$ds_prefix" copy.avi 'v a' convert --backend ds
check decoded "$ds_prefix" copy.avi a copy --audio --period 100 --backend ds
