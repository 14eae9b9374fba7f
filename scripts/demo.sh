#!/usr/bin/env bash
# Shows the command-line client at work, over Video for Windows and over DirectShow: what a media file holds, frames
# fetched in random order, a run of audio samples, and times turned into frame numbers. Compares the frames and samples
# with what ffmpeg decodes by itself. Installs and builds what is missing first; safe to run again.
#
#   scripts/demo.sh [--64] [FILE]    FILE: a media file (default: the clip and the sound of examples/media);
#                                    --64: with the 64-bit client
#
# Results are in build/demo. SEED=N in the environment repeats a run's random choices.
set -euo pipefail

usage() {
  sed -n '2,9s/^# \{0,1\}//p' "$0"
}

. "$(dirname "$0")/width.sh"
case "$#:${1:-}" in
  1:--help) usage; exit 0 ;;
  0: | 1:*) ;;
  *) usage >&2; exit 2 ;;
esac
files=()
own_media=yes
if [ $# -eq 1 ]; then
  files=("$(realpath -m -- "$1")")
  own_media=
fi
cd "$(dirname "$0")/.."
if [ ${#files[@]} -eq 0 ]; then
  files=("$PWD/examples/media/clip.avi" "$PWD/examples/media/sound.wav")
fi

build=build/$preset
results=build/demo
frame_count=3
failures=0
equal=0
different=0
seed=${SEED:-$RANDOM}
RANDOM=$seed

fail() {
  echo "demo: $*" >&2
  failures=$((failures + 1))
}

# Runs its arguments; what they print is shown only when they fail.
quietly() {
  "$@" >"$results/build.log" 2>&1 || {
    cat "$results/build.log" >&2
    echo "demo: failed: $*" >&2
    exit 1
  }
}

# A path of this system as a Windows program knows it.
windows_path() {
  local path=Z:$1
  printf '%s' "${path//\//\\}"
}

# Runs the client, the command shown with its outcome; the standard output is left in `output`.
try() {
  local status=0
  echo "\$ quillet $*"
  scripts/wine-run.sh "$build/wineprefix" "$build/bin/quillet.exe" "$@" >"$results/output" || status=$?
  output=$(tr -d '\r' <"$results/output")
  [ -z "$output" ] || echo "$output"
  return "$status"
}

# Runs the client as a step of the demo, which has to work.
step() {
  try "$@" || fail "quillet $1 failed"
}

# Sets `random` to a number from 0 to $1 - 1. Not for a subshell, in which the sequence would not move on.
pick() {
  random=$(((RANDOM * 32768 + RANDOM) % $1))
}

# What ffprobe finds in file $2 for the stream entries $1, separated by commas.
probe() {
  ffprobe -v error -show_entries stream="$1" -of csv=p=0 "$2" 2>&1
}

# Checks that ffprobe finds $3 for the entries $2 in the file $1.
check_result() {
  local found
  found=$(probe "$2" "$1") || found="no readable file"
  [ -s "$1" ] && [ "$found" = "$3" ] || fail "$1: expected $2 to be $3, found: $found"
}

# Compares $results/ours, numbers of Python's type code $3, with each run of as many in $results/theirs, which ffmpeg has
# decoded: the first run is number $1, and number $2 should be equal, to a mean difference of $4. Says what it finds. Another
# run that is much nearer is the equal one. Not everything that differs is a fault: decoders may count frames differently.
compare() {
  if python3 - "$results" "$@" <<'END'
import array, os, sys

def values(name):
    numbers = array.array(sys.argv[4])
    with open(os.path.join(sys.argv[1], name), "rb") as file:
        numbers.frombytes(file.read())
    return numbers

first, wanted, most = int(sys.argv[2]), int(sys.argv[3]), float(sys.argv[5])
ours, theirs = values("ours"), values("theirs")
size = max(len(ours), 1)
means = {first + i: sum(abs(a - b) for a, b in zip(ours, theirs[i * size:])) / size for i in range(len(theirs) // size)}
nearest = min(means, key=means.get, default=None)
found = means.get(wanted)
if found is None or not ours:
    print("  differs: one of both has nothing there")
elif found > most or (found > most / 4 and means[nearest] < found / 2):
    match = f"; ffmpeg's number {nearest} is equal" if means[nearest] <= most else ""
    print(f"  differs from ffmpeg's by {found:.2f} in the mean{match}")
else:
    print(f"  equal to ffmpeg's: a mean difference of {found:.2f}")
    sys.exit(0)
sys.exit(1)
END
  then
    equal=$((equal + 1))
  else
    different=$((different + 1))
    [ -z "$own_media" ] || fail "this differs, and must not"
  fi
}

# Decodes with ffmpeg, whatever its arguments say, to the file $1 in the results.
decode() {
  ffmpeg -v error -nostdin -y "${@:2}" "$results/$1" || true
}

# Compares the image $2 with frame $3 of the video $1, and those beside it. Where colours are converted, decoders round
# differently: by 1 or 2 of 255 at most places, more at edges in files with less colour than light. Another picture, range
# or matrix of colours differs by more.
compare_frame() {
  local first=$(($3 > 2 ? $3 - 2 : 0))
  decode ours -i "$2" -pix_fmt bgr24 -f rawvideo
  decode theirs -noautorotate -i "$1" -map 0:v:0 -vf "select=between(n\,$first\,$(($3 + 2)))" -fps_mode passthrough \
    -frames:v $(($3 + 3 - first)) -pix_fmt bgr24 -f rawvideo
  compare "$first" "$3" B 4
}

# Compares the samples $3 to $4 of the audio file $2 with those of $1, or as many of them as soon are compared. Decoders of
# lossy formats round differently: of ADPCM by 6 of 32,768 in the mean. Samples beside differ by hundreds in loud sound.
compare_samples() {
  local last=$(($4 < $3 + 400000 ? $4 : $3 + 400000))
  decode ours -i "$2" -af "atrim=end_sample=$((last - $3 + 1))" -f s16le
  decode theirs -i "$1" -map 0:a:0 -af "atrim=start_sample=$3:end_sample=$((last + 1))" -f s16le
  compare 0 0 h 16
}

# Fetches frames of a video with $3 frames of the size $4 (width,height) and $5 milliseconds through the backend $2.
show_video() {
  local file=$1 backend=$2 frames=$3 size=$4 duration=$5 i image
  for ((i = 0; i < frame_count; i++)); do
    pick "$frames"
    image=$results/$(basename "${file%.*}")-$backend-$random.png
    step frame "$(windows_path "$file")" "$random" -o "$image" --backend "$backend"
    check_result "$image" width,height "$size"
    if [[ $output =~ ": frame "([0-9]+)$ ]]; then
      compare_frame "$file" "$image" "${BASH_REMATCH[1]}"
    fi
  done
  pick $((10#$duration > 0 ? 10#$duration : 1))
  step time "$(windows_path "$file")" --ms "$random" --backend "$backend"
}

# Cuts the middle third out of an audio stream with $3 samples through the backend $2.
show_audio() {
  local file=$1 backend=$2 samples=$3
  local first=$((samples / 3)) last=$((samples * 2 / 3)) wave
  wave=$results/$(basename "${file%.*}")-$backend.wav
  step samples "$(windows_path "$file")" "$first" "$last" -o "$wave" --backend "$backend"
  check_result "$wave" duration_ts $((last - first + 1))
  compare_samples "$file" "$wave" "$first" "$last"
  step time "$(windows_path "$file")" --audio --sample "$first" --backend "$backend"
}

# Shows what the backend $2 makes of a file. The status tells whether it reads any of it.
show_backend() {
  local file=$1 backend=$2
  try info "$(windows_path "$file")" --backend "$backend" || return 1
  local text=$'[^\n]*'
  local video="video 0: $text\b([0-9]+) x ([0-9]+)( top-down)?, ([1-9][0-9]*) frames?,$text ([0-9]+)\.([0-9]{3}) s,"
  local audio="audio 0: $text ([1-9][0-9]*) samples?,"
  local info=$output
  if [[ $info =~ $video ]]; then
    show_video "$file" "$backend" "${BASH_REMATCH[4]}" "${BASH_REMATCH[1]},${BASH_REMATCH[2]}" \
      "${BASH_REMATCH[5]}${BASH_REMATCH[6]}"
  fi
  if [[ $info =~ $audio ]]; then
    show_audio "$file" "$backend" "${BASH_REMATCH[1]}"
  fi
}

# Not every file is for both backends, but one of them has to read it.
show_file() {
  local file=$1 backend readers=0
  for backend in vfw ds; do
    echo
    echo "== $file, --backend $backend"
    if show_backend "$file" "$backend"; then
      readers=$((readers + 1))
    fi
  done
  [ "$readers" -gt 0 ] || fail "$file: no backend reads it"
}

scripts/setup.sh
rm -rf "$results"
mkdir -p "$results"
quietly cmake --preset "$preset"
quietly cmake --build "$build" --target quillet_cli

echo "demo: random seed $seed"
for file in "${files[@]}"; do
  show_file "$file"
done
rm -f "$results"/{build.log,output,ours,theirs}

echo
if [ "$failures" -gt 0 ]; then
  echo "demo: FAILED, $failures checks or steps above did not work; beside ffmpeg, $equal equal and $different different"
  exit 1
fi
echo "demo: all worked; $(find "$results" -type f | wc -l) files written to $results and checked; beside ffmpeg, $equal equal and $different different"
