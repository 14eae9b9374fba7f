#!/usr/bin/env bash
# Interrupts the client's writing commands at random moments, and has them write to a full disk: what was there is there
# still, or the new file is complete, and nothing else is left.
#
#   tests/lossless_test.sh WINE-RUN BUILD-FOLDER [MOMENTS]    MOMENTS: for each command (default: 3)
#
# SEED=N in the environment repeats a run's moments. Disks can be filled by root alone.
set -euo pipefail

wine_run=$1 build=$2 moments=${3:-3}
RANDOM=${SEED:=$RANDOM}
echo "random seed $SEED"
work=$(mktemp -d)
trap 'umount "$work/full" 2>/dev/null || true; rm -rf "$work"' EXIT
mkdir "$work"/{out,full}

media=Z:$build/media
prefix=$build/wineprefix
"$(dirname "$0")/mux_prefix.sh" "$wine_run" "$build"

fail() {
  echo "FAILED: $*" >&2
  exit 1
}

# client WHEN COMMAND...: WHEN are the arguments of wine-run.
client() {
  local status=0
  # shellcheck disable=SC2086
  "$wine_run" $1 "$prefix" "$build/bin/quillet.exe" "${@:2}" >"$work/log" 2>&1 || status=$?
  return "$status"
}

# Interrupts a command that writes $1.
interrupted=0
interrupt() {
  local target=$work/out/$1 begin length status
  shift
  begin=$(date +%s%N)
  client '-t 60' "$@" "Z:$target" || fail "$(cat "$work/log")"
  length=$((($(date +%s%N) - begin) / 1000000))
  mv "$target" "$work/new"
  for ((i = 0; i < moments; i++)); do
    echo old >"$target"
    status=0
    ms=$((length / 4 + RANDOM % length))
    client "-i $(printf '%d.%03d' $((ms / 1000)) $((ms % 1000)))" "$@" "Z:$target" || status=$?
    # While the program is still being started, the platform ends it: Wine with status 0, but nothing was done then.
    [ "$status" -ne 130 ] || interrupted=$((interrupted + 1))
    if [ "$status" -eq 0 ] && [ -s "$work/log" ]; then
      cmp "$target" "$work/new" || fail "$*: not complete when interrupted at $ms of $length ms"
    else
      grep -qx old "$target" || fail "$*: changed when interrupted at $ms of $length ms, with status $status"
    fi
    [ "$(ls -A "$work/out")" = "${target##*/}" ] || fail "$*: left when interrupted at $ms of $length ms: $(ls -A "$work/out")"
  done
  rm "$target"
}

# Has a command write $1 where there is no room.
fill() {
  local target=$work/full/$1
  shift
  echo old >"$target"
  if client '-t 60' "$@" "Z:$target"; then
    fail "$*: nothing said of a full disk"
  fi
  grep -q '(0x70)' "$work/log" || fail "$*: $(cat "$work/log")"
  [ "$(cat "$target")" = old ] || fail "$*: changed by a full disk"
  rm "$target"
  [ -z "$(ls -A "$work/full")" ] || fail "$*: left on a full disk: $(ls -A "$work/full")"
}

# Each with the name of a file as its last argument.
each_command() {
  "$1" out.bmp frame "$media/bench_raw.avi" 150 -o
  "$1" out.wav samples "$media/peaks.wav" 0 79999 -o
  "$1" out.bmp sheet "$media/bench_mjpeg.avi" -n 200 --backend ds -o
  "$1" out.bmp wave "$media/peaks.wav" -o
  "$1" out.avi copy "$media/bench_raw.avi" --backend vfw
  "$1" out.avi convert "$media/bench_raw.avi" --backend vfw
}

each_command interrupt
[ "$interrupted" -gt 0 ] || fail "no command was interrupted at its work"
echo "$interrupted of $((6 * moments)) interrupted at their work"

# has_disk SIZE: whether there is a disk of that size now.
has_disk() {
  umount "$work/full" 2>/dev/null || true
  mount -t tmpfs -o "size=$1" none "$work/full" 2>/dev/null
}

# Without room for the last page, which has some of the index only: it is there that writers do not look.
client '-t 60' copy "$media/bench_raw.avi" "Z:$work/new" --backend vfw || fail "$(cat "$work/log")"
if has_disk $((($(stat -c %s "$work/new") - 1) / 4096 * 4096)); then
  fill out.avi copy "$media/bench_raw.avi" --backend vfw
  has_disk 128k
  each_command fill
  prefix=$build/muxprefix
  fill out.avi convert "$media/bench_raw.avi" --backend ds
else
  echo "no disk can be filled: not root"
fi
