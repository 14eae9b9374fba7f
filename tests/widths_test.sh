#!/usr/bin/env bash
# Installs both widths into one prefix, and expects the same of both: of a client that finds the installed library, and
# of the command-line client over both backends. To be run in the root of the tree, with both widths built.
set -euo pipefail

root=$PWD media=Z:$PWD/build/mingw-i686/media
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

install() {
  cmake --install "build/mingw-$1" --prefix "$work/prefix" >/dev/null
}
client() {
  cmake -G Ninja -S tests/package -B "$work/client-$1" -DCMAKE_SYSTEM_NAME=Windows \
    -DCMAKE_CXX_COMPILER="$1-w64-mingw32-g++" -DCMAKE_PREFIX_PATH="$work/prefix" && cmake --build "$work/client-$1"
}
fail() {
  cat "$work/cmake"
  echo "widths_test: $*" >&2
  exit 1
}

install i686
client x86_64 >"$work/cmake" 2>&1 && fail "a 64-bit client takes the 32-bit library"
grep -q 'version: .*(32bit)' "$work/cmake" || fail "nothing says that the library has the wrong width"
install x86_64

# Leaves what the width $1 gives in a folder of its own.
give() (
  run() { "$root/scripts/wine-run.sh" -t 120 "$root/build/mingw-$width/$1" "${@:2}"; }
  quillet() { run "$1" "$work/prefix/bin/$width/quillet.exe" "${@:2}" --backend "$backend"; }
  width=$1
  mkdir "$work/$width"
  cd "$work/$width"
  run wineprefix "$work/client-$width/client.exe" "$media/cinepak.avi"
  streams=(--video)  # Wine's AVIFile writes no audio.
  for backend in vfw ds; do
    quillet wineprefix frame "$media/cinepak.avi" 42 -o "$backend.bmp"
    quillet wineprefix samples "$media/ms.avi" 10000 50000 -o "$backend.wav"
    quillet muxprefix raw "$media/compressed.avi" --csv
    quillet muxprefix copy "$media/copy.avi" "$backend-copy.avi" "${streams[@]}"
    quillet muxprefix convert "$media/copy.avi" "$backend-convert.avi" "${streams[@]}"
    streams=()
  done
  perl -0777 -pi -e 's/(video stream\0)./$1\0/s' vfw-*.avi  # Wine does not set the byte that fills the name up.
)

for width in i686 x86_64; do
  client "$width" >"$work/cmake" 2>&1 || fail "the client of $width is not made"
  tests/mux_prefix.sh scripts/wine-run.sh "$root/build/mingw-$width"
  give "$width" >"$work/output-$width"
done
diff "$work/output-i686" "$work/output-x86_64"
diff -r "$work/i686" "$work/x86_64"
