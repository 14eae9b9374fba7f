#!/usr/bin/env bash
# Copies files with the command-line client, and compares what ffmpeg, which reads on its own, finds in them.
#
#   tests/copy_test.sh WINE-RUN PREFIX QUILLET FFMPEG MEDIA-FOLDER
set -euo pipefail

wine_run=$1 prefix=$2 quillet=$3 ffmpeg=$4 media=$5
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

run() {
  "$wine_run" -t 60 "$prefix" "$quillet" "$@"
}

# The frames with their times, one a line.
frames() {
  "$ffmpeg" -v error -i "$1" -map 0:v -f framemd5 - | grep -v '^#' | tr -d ' ' | cut -d, -f2-
}

expect_equal() {
  if ! diff -u "$1" "$2" >"$work/diff"; then
    echo "FAILED: $3" >&2
    head -20 "$work/diff" >&2
    exit 1
  fi
}

cp "$media/ds_raw.avi" "$work/in.avi"
run copy "Z:$work/in.avi" "Z:$work/out.avi" --video
frames "$work/in.avi" >"$work/in.frames"
frames "$work/out.avi" >"$work/out.frames"
expect_equal "$work/in.frames" "$work/out.frames" "the frames of a copy"
