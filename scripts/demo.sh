#!/usr/bin/env bash
# Shows the command-line client at work: what a media file holds, frames fetched in random order, a run of audio samples,
# and times turned into frame numbers. Installs and builds what is missing first; safe to run again.
#
#   scripts/demo.sh [FILE]    FILE: a media file (default: the clip and the sound of examples/media)
#
# Results are in build/demo. SEED=N in the environment repeats a run's random choices.
set -euo pipefail

usage() {
  sed -n '2,7s/^# \{0,1\}//p' "$0"
}

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

build=build/mingw-i686
results=build/demo
frame_count=5
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

# Runs the client as a step of the demo, the command shown with its outcome; the standard output is left in `output`.
step() {
  echo "\$ quillet $*"
  scripts/wine-run.sh "$build/wineprefix" "$build/bin/quillet.exe" "$@" >"$results/output" || fail "quillet $1 failed"
  output=$(tr -d '\r' <"$results/output")
  echo "$output"
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

# Fetches frames of a video with $2 frames of the size $3 (width,height) and $4 milliseconds.
show_video() {
  local file=$1 frames=$2 size=$3 duration=$4 i image
  for ((i = 0; i < frame_count; i++)); do
    pick "$frames"
    image=$results/$(basename "${file%.*}")-$random.png
    step frame "$(windows_path "$file")" "$random" -o "$image"
    check_result "$image" width,height "$size"
  done
  pick "$duration"
  step time "$(windows_path "$file")" --ms "$random"
}

# Cuts the middle third out of an audio stream with $2 samples.
show_audio() {
  local file=$1 samples=$2
  local first=$((samples / 3)) last=$((samples * 2 / 3)) wave
  wave=$results/$(basename "${file%.*}").wav
  step samples "$(windows_path "$file")" "$first" "$last" -o "$wave"
  check_result "$wave" duration_ts $((last - first + 1))
  step time "$(windows_path "$file")" --audio --sample "$first"
}

show_file() {
  local file=$1
  echo
  echo "== $file"
  step info "$(windows_path "$file")"
  local text=$'[^\n]*'
  local video="video 0: ([0-9]+) x -?([0-9]+),$text ([1-9][0-9]*) frames,$text ([0-9]+)\.([0-9]{3}) s,"
  local audio="audio 0: $text ([1-9][0-9]*) samples,"
  local info=$output has_stream=false
  if [[ $info =~ $video ]]; then
    has_stream=true
    show_video "$file" "${BASH_REMATCH[3]}" "${BASH_REMATCH[1]},${BASH_REMATCH[2]}" \
      $((10#${BASH_REMATCH[4]}${BASH_REMATCH[5]} + 1))
  fi
  if [[ $info =~ $audio ]]; then
    has_stream=true
    show_audio "$file" "${BASH_REMATCH[1]}"
  fi
  $has_stream || fail "$file: no video and no audio to show"
}

scripts/setup.sh
rm -rf "$results"
mkdir -p "$results"
quietly cmake --preset mingw-i686
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
