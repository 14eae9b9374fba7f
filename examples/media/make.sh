#!/usr/bin/env bash
# Makes the demo media again, byte for byte with the same ffmpeg: scripts and tests rely on their numbers of frames and
# samples.
set -euo pipefail
cd "$(dirname "$0")"

make_media() {
  ffmpeg -v error -y "$@"
}
bit_exact=(-fflags +bitexact -flags:v +bitexact -flags:a +bitexact -map_metadata -1)

# Cinepak with a key frame every 12 frames: found frames need their predecessors.
make_media -f lavfi -i testsrc2=size=240x180:rate=25:duration=4 -f lavfi -i sine=frequency=440:sample_rate=22050:duration=4 \
  -c:v cinepak -g 12 -c:a pcm_s16le "${bit_exact[@]}" clip.avi
# The bit rate is that of the blocks, 1,024 bytes for 2,041 samples: AVIFile takes times from it.
make_media -f lavfi -i sine=frequency=660:beep_factor=4:sample_rate=22050:duration=5 \
  -c:a adpcm_ima_wav -b:a 88503 "${bit_exact[@]}" sound.wav

# ffmpeg marks its index as the authority on chunk types (0x800 in avih.dwFlags). Wine's AVIFile then forgets every key
# frame but the first, so the mark is taken away. dwFlags is at offset 44; the bit is in its second byte.
[ "$(head -c 28 clip.avi | tail -c 4)" = avih ]
flags=$(od -An -tu1 -j45 -N1 clip.avi)
printf "\\x$(printf %x $((flags & ~0x08)))" | dd of=clip.avi bs=1 seek=45 conv=notrunc status=none
