#!/usr/bin/env bash
# Runs a Windows program under Wine, in a prefix of the build's own, without a display and with a time limit.
#
#   scripts/wine-run.sh [-t SECONDS | -i SECONDS] PREFIX PROGRAM [ARGUMENT...]
#
# PREFIX is a folder, made at the first use as wide as the program, 32 or 64 bits; a 64-bit one runs 32-bit programs too.
# The status is the program's; 124 when the time is up. With -i the program is interrupted then, as by Ctrl+C, and has five
# more seconds.
set -euo pipefail

seconds=120
ending=()
[ "${1:-}" != -i ] || ending=(--foreground --preserve-status -s INT)
if [ "${1:-}" = -t ] || [ "${1:-}" = -i ]; then
  seconds=$2
  shift 2
fi
prefix=$(realpath -m "$1")
shift

# The prefix's width, or that of the program that it is to be made for: what its header says, 32 bits for Wine's own.
width() {
  local offset
  if [ -e "$prefix/system.reg" ]; then
    sed -n 's/^#arch=//p' "$prefix/system.reg"
  elif offset=$(od -An -td4 -j60 -N4 -- "$1" 2>/dev/null) && [ "$(od -An -tx2 -j$((offset + 4)) -N2 -- "$1")" = ' 8664' ]; then
    echo win64
  else
    echo win32
  fi
}

unset DISPLAY WAYLAND_DISPLAY
WINEARCH=$(width "$1")
export WINEPREFIX=$prefix WINEARCH WINEDEBUG=${WINEDEBUG:--all} LC_ALL=C.UTF-8
export WINEDLLOVERRIDES='mscoree,mshtml=;winedbg.exe=d'

# Wine's services outlive the program and keep its output open, so that a reader of a pipe would wait for them: the output
# goes to files, which are then printed.
output=$(mktemp -d)
trap 'rm -rf "$output"' EXIT

# Chained, since the shell goes on after a failure in what is itself part of a condition. No graphics driver: windows and
# dialogs work, and need no display. No audio driver: nothing here makes a sound, and looking for a sound card only fills the
# error output. Last a wait until the registry is on disk: the server ends when the programs before have.
make_prefix() {
  timeout -k 5 120 wine wineboot --init &&
    timeout -k 5 60 wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f &&
    timeout -k 5 60 wine reg add 'HKCU\Software\Wine\Drivers' /v Audio /d "" /f &&
    timeout -k 5 60 wineserver -w &&
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

# The signal is for the program itself, which is a child of the usual loader where that is of 32 bits and the program is not.
loader=wine
if [ ${#ending[@]} -gt 0 ] && [ "$WINEARCH" = win64 ] && [ -x /usr/lib/wine/wine64 ]; then
  loader=/usr/lib/wine/wine64
fi
status=0
timeout "${ending[@]}" -k 5 "$seconds" "$loader" "$@" >"$output/out" 2>"$output/err" </dev/null || status=$?
cat "$output/out"
# GStreamer, which decodes for Wine, writes to the same place when it has no decoder for a stream; the program says so itself.
grep -vE '^\(wine:[0-9]+\): GStreamer-CRITICAL|^$' "$output/err" >&2 || true
exit "$status"
