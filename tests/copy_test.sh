#!/usr/bin/env bash
# Copies and converts a file with the command-line client, and compares what ffmpeg, which reads on its own, finds in the
# results.
#
#   tests/copy_test.sh WINE-RUN BUILD-FOLDER FFMPEG
set -euo pipefail

wine_run=$1 build=$2 ffmpeg=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
in=$build/media/copy.avi

# A prefix in which DirectShow writes with the tests' multiplexer, and reads with Wine's own splitter, which does not decode.
ds_prefix=$build/muxprefix
(
  flock 9
  if [ ! -e "$ds_prefix/registered" ]; then
    "$wine_run" -t 120 "$ds_prefix" regsvr32 /s "Z:$build/bin/quillet_test_mux.dll"
    splitter='HKCR\CLSID\{083863F1-70DE-11D0-BD40-00A0C911CE86}\Instance\{F9D8D64E-A144-47DC-8EE0-F53498372C29}'
    "$wine_run" -t 60 "$ds_prefix" reg delete "$splitter" /f
    touch "$ds_prefix/registered"
  fi
) 9>"$build/muxprefix.lock"

# What a stream holds: a checksum and the time of each packet for v, one checksum of all samples for a.
content() {
  case $2 in
    v) "$ffmpeg" -v error -i "$1" -map 0:v -f framemd5 - | grep -v '^#' | tr -d ' ' | cut -d, -f2- ;;
    a) "$ffmpeg" -v error -i "$1" -map 0:a -f md5 - ;;
  esac
}

# check PREFIX STREAMS COMMAND... : runs the client, and expects the streams of the result to be those of the original.
check() {
  local prefix=$1 streams=$2
  shift 2
  "$wine_run" -t 60 "$prefix" "$build/bin/quillet.exe" "$1" "Z:$in" "Z:$work/out.avi" "${@:2}"
  for stream in $streams; do
    content "$in" "$stream" >"$work/in.$stream"
    content "$work/out.avi" "$stream" >"$work/out.$stream"
    if [ ! -s "$work/in.$stream" ] || ! diff -u "$work/in.$stream" "$work/out.$stream" >"$work/diff"; then
      echo "FAILED: stream $stream after $*" >&2
      head -20 "$work/diff" >&2
      exit 1
    fi
  done
}

# Wine's AVIFile writes no audio.
check "$build/wineprefix" v copy --video --backend vfw
check "$build/wineprefix" v convert --video --backend vfw
check "$ds_prefix" 'v a' copy --backend ds
check "$ds_prefix" 'v a' convert --backend ds
check "$ds_prefix" a copy --audio --period 100 --backend ds
