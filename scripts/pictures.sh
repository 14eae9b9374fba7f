#!/usr/bin/env bash
# Makes pictures of the manual again, in docs: those that the client draws, and those of windows, on a display of its own.
# Installs and builds what is missing first.
#
#   scripts/pictures.sh [NAME...]    for example viewer.png; without names all that it knows
#
# The dialogs of compressors are not among them: Wine has none to show.
set -euo pipefail
cd "$(dirname "$0")/.."
[ "${1:-}" != --help ] || { sed -n '2,8s/^# \{0,1\}//p' "$0"; exit 0; }

known=(sheet.png wave.png viewer.png dialog_video_tuning.png)
[ $# -gt 0 ] || set -- "${known[@]}"

scripts/setup.sh --with xvfb fonts-wine
build=build/mingw-i686
work=$PWD/build/pictures
media=Z:$PWD/examples/media
mkdir -p "$work"
cmake --preset mingw-i686 >/dev/null
cmake --build "$build" --target quillet_cli quillet_viewer guide_dialogs >/dev/null

quillet() {
  scripts/wine-run.sh "$build/wineprefix" "$build/bin/quillet.exe" "$@"
}

# A prefix that shows windows, with frames that Wine draws itself.
export WINEPREFIX=$work/prefix WINEARCH=win32 WINEDEBUG=-all WINEDLLOVERRIDES='mscoree,mshtml=;winedbg.exe=d'
screen=900x700
run_id='' display_id=''
# Ends what this script has started, and nothing else.
end() {
  [ -z "$run_id" ] || kill "$run_id" 2>/dev/null || true
  [ -z "$display_id" ] || { timeout 20 wineserver -k || true; kill "$display_id" 2>/dev/null || true; }
}
trap end EXIT

open_display() {
  [ -z "$display_id" ] || return 0
  mkfifo -m 600 "$work/number.$$"
  Xvfb -displayfd 3 -screen 0 "${screen}x24" -nolisten tcp 3>"$work/number.$$" 2>"$work/xvfb.log" &
  display_id=$!
  read -r number <"$work/number.$$"
  rm "$work/number.$$"
  export DISPLAY=:$number
  if [ ! -e "$WINEPREFIX/ready" ]; then
    timeout 120 wineboot --init >/dev/null 2>&1
    timeout 60 wine reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f >/dev/null 2>&1
    timeout 60 wine reg add 'HKCU\Software\Wine\Drivers' /v Audio /d '' /f >/dev/null 2>&1
    timeout 60 wineserver -w
    touch "$WINEPREFIX/ready"
  fi
}

grab() {
  ffmpeg -v error -y -f x11grab -draw_mouse 0 -video_size "$screen" -i "$DISPLAY" -frames:v 1 "$1"
}

# window PICTURE PROGRAM [ARGUMENT...]: what the program shows when it has shown the same four times; a caret may blink.
window() {
  local picture=$1 turn empty now crop
  local -A times=([none]=0)
  open_display
  grab "$work/shot.bmp"
  empty=$(md5sum <"$work/shot.bmp")
  timeout 100 wine "${@:2}" >"$work/window.log" 2>&1 &
  run_id=$!
  now=none
  for ((turn = 0; turn < 90 && times[$now] < 4; turn++)); do
    sleep 1
    grab "$work/shot.bmp"
    now=$(md5sum <"$work/shot.bmp")
    now=${now%% *}
    [ "$now" != "${empty%% *}" ] || now=none
    [ "$now" = none ] || times[$now]=$((${times[$now]:-0} + 1))
  done
  kill "$run_id" 2>/dev/null || true
  timeout 20 wineserver -k || true
  wait "$run_id" 2>/dev/null || true
  run_id=''
  [ "${times[$now]}" -ge 4 ] || { echo "pictures: $picture: no window came to rest" >&2; exit 1; }
  # The screen around the window is black.
  crop=$(ffmpeg -i "$work/shot.bmp" -vf format=gray,bbox=min_val=1 -f null - 2>&1 | grep -o 'crop=[0-9:]*')
  ffmpeg -v error -y -i "$work/shot.bmp" -vf "$crop" -pix_fmt rgb24 "docs/$picture"
}

for picture; do
  case $picture in
    sheet.png) quillet sheet "$media/clip.avi" -n 12 -o Z:"$PWD/docs/sheet.png" ;;
    wave.png) quillet wave "$media/sound.wav" -o Z:"$PWD/docs/wave.png" ;;
    viewer.png) window viewer.png "$build/bin/quillet_viewer.exe" "$media/clip.avi" ;;
    dialog_video_tuning.png) window "$picture" "$build/bin/guide_dialogs.exe" "$media/clip.avi" ;;
    *) echo "pictures: $picture is none of: ${known[*]}" >&2; exit 2 ;;
  esac
done
