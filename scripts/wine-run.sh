#!/usr/bin/env bash
# Runs a Windows program under Wine, in a prefix of the build's own, without a display and with a time limit.
#
#   scripts/wine-run.sh [-t SECONDS] PREFIX PROGRAM [ARGUMENT...]
#
# PREFIX is a folder, made at the first use. The status is the program's; 124 when the time is up.
set -euo pipefail

seconds=120
if [ "${1:-}" = -t ]; then
  seconds=$2
  shift 2
fi
prefix=$(realpath -m "$1")
shift

unset DISPLAY WAYLAND_DISPLAY
export WINEPREFIX=$prefix WINEARCH=${WINEARCH:-win32} WINEDEBUG=${WINEDEBUG:--all} LC_ALL=C.UTF-8
export WINEDLLOVERRIDES='mscoree,mshtml=;winedbg.exe=d'

# Wine's services outlive the program and keep its output open, so that a reader of a pipe would wait for them: the output
# goes to files, which are then printed.
output=$(mktemp -d)
trap 'rm -rf "$output"' EXIT

make_prefix() {
  timeout -k 5 120 "${WINE:-wine}" wineboot --init
  # No graphics driver: windows and dialogs work, and need no display.
  timeout -k 5 60 "${WINE:-wine}" reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f
  # No audio driver: nothing here makes a sound, and looking for a sound card only fills the error output.
  timeout -k 5 60 "${WINE:-wine}" reg add 'HKCU\Software\Wine\Drivers' /v Audio /d "" /f
  timeout -k 5 60 wineserver -w  # Until the registry is on disk: it ends when the programs above have.
  touch "$prefix/ready-2"
}

# The number tells which of the settings above the prefix was made with.
if [ ! -e "$prefix/ready-2" ]; then
  mkdir -p "$prefix"
  (
    flock 9
    [ -e "$prefix/ready-2" ] || make_prefix >"$output/prefix" 2>&1 </dev/null || { cat "$output/prefix" >&2; exit 1; }
  ) 9>"$prefix/lock"
fi

status=0
timeout -k 5 "$seconds" "${WINE:-wine}" "$@" >"$output/out" 2>"$output/err" </dev/null || status=$?
cat "$output/out"
# GStreamer, which decodes for Wine, writes to the same place when it has no decoder for a stream; the program says so itself.
grep -vE '^\(wine:[0-9]+\): GStreamer-CRITICAL|^$' "$output/err" >&2 || true
exit "$status"
