#!/usr/bin/env bash
# Shows the command-line client at work, over Video for Windows and over DirectShow: what a media file holds, frames
# fetched in random order, a run of audio samples, and times turned into frame numbers. Installs and builds what is missing
# first; safe to run again.
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
if [ $# -eq 1 ]; then
  files=("$(realpath -m -- "$1")")
fi
cd "$(dirname "$0")/.."
if [ ${#files[@]} -eq 0 ]; then
  files=("$PWD/examples/media/clip.avi" "$PWD/examples/media/sound.wav")
fi

build=build/$preset
results=build/demo
frame_count=3
failures=0
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

# Fetches frames of a video with $3 frames of the size $4 (width,height) and $5 milliseconds through the backend $2.
show_video() {
  local file=$1 backend=$2 frames=$3 size=$4 duration=$5 i image
  for ((i = 0; i < frame_count; i++)); do
    pick "$frames"
    image=$results/$(basename "${file%.*}")-$backend-$random.png
    step frame "$(windows_path "$file")" "$random" -o "$image" --backend "$backend"
    check_result "$image" width,height "$size"
  done
  pick "$duration"
  step time "$(windows_path "$file")" --ms "$random" --backend "$backend"
}

# Cuts the middle third out of an audio stream with $3 samples through the backend $2.
show_audio() {
  local file=$1 backend=$2 samples=$3
  local first=$((samples / 3)) last=$((samples * 2 / 3)) wave
  wave=$results/$(basename "${file%.*}")-$backend.wav
  step samples "$(windows_path "$file")" "$first" "$last" -o "$wave" --backend "$backend"
  check_result "$wave" duration_ts $((last - first + 1))
  step time "$(windows_path "$file")" --audio --sample "$first" --backend "$backend"
}

# Shows what the backend $2 makes of a file. The status tells whether it reads any of it.
show_backend() {
  local file=$1 backend=$2
  try info "$(windows_path "$file")" --backend "$backend" || return 1
  local text=$'[^\n]*'
  local video="video 0: ([0-9]+) x -?([0-9]+),$text ([1-9][0-9]*) frames,$text ([0-9]+)\.([0-9]{3}) s,"
  local audio="audio 0: $text ([1-9][0-9]*) samples,"
  local info=$output
  if [[ $info =~ $video ]]; then
    show_video "$file" "$backend" "${BASH_REMATCH[3]}" "${BASH_REMATCH[1]},${BASH_REMATCH[2]}" \
      $((10#${BASH_REMATCH[4]}${BASH_REMATCH[5]} + 1))
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
rm -f "$results"/{build.log,output}

echo
if [ "$failures" -gt 0 ]; then
  echo "demo: FAILED, $failures checks or steps above did not work"
  exit 1
fi
echo "demo: all worked; $(find "$results" -type f | wc -l) files written to $results and checked"
