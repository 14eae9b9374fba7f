#!/usr/bin/env bash
# Makes a media file: make_media.sh FFMPEG FILE FFMPEG-ARGUMENT...
set -euo pipefail

ffmpeg=$1 file=$2
shift 2

"$ffmpeg" -y -nostdin -loglevel error "$@" -bitexact -flags +bitexact -fflags +bitexact "$file"

# ffmpeg claims that a frame's kind can be told from its chunk's name (AVIF_TRUSTCKTYPE, bit 0x800 of the flags at byte
# 44), upon which Wine takes every frame but the first for a delta frame: clear the bit.
if [[ $file == *.avi ]]; then
  flags=$(od -An -tu1 -j45 -N1 "$file")
  printf "\\x$(printf %02x $((flags & ~8)))" | dd of="$file" bs=1 seek=45 conv=notrunc status=none
fi
