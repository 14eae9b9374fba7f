#!/usr/bin/env bash
# Installs both widths into one prefix, and expects the same of both: of clients in each style that find the installed
# library, and of the command-line client over both backends. To be run in the root of the tree, with both widths built.
set -euo pipefail

root=$PWD media=Z:$PWD/build/mingw-i686/media
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

install() {
  cmake --install "build/mingw-$1" --prefix "$work/prefix" >/dev/null
}
# Makes the clients of the width $1 in the language $2 with the compiler $3, as CMake finds the library.
clients() {
  local folder=$work/clients-$1-${4:-mingw}
  cmake -G Ninja -S tests/package -B "$folder-$2" -DLANGUAGE="$2" -DCMAKE_SYSTEM_NAME=Windows \
    -DCMAKE_"$2"_COMPILER="$3" -DCMAKE_PREFIX_PATH="$work/prefix" "${@:5}" && cmake --build "$folder-$2"
}
# The client in C of the width $1 with clang and LLVM's linker, which are as Microsoft's here and have neither headers nor
# libraries: what it needs of the C library is imported by hand.
foreign_client() {
  local machine=i386
  [ "$1" = i686 ] || machine=i386:x86-64
  printf 'LIBRARY msvcrt.dll\nEXPORTS\n__getmainargs\nexit\nprintf\n' >"$work/c.def"
  llvm-dlltool -m "$machine" -d "$work/c.def" -l "$work/c-$1.lib" &&
    clients "$1" C clang foreign -DCMAKE_C_COMPILER_TARGET="$1-pc-windows-msvc" \
      -DCMAKE_TRY_COMPILE_TARGET_TYPE=STATIC_LIBRARY -DCMAKE_C_FLAGS=-ffreestanding -DCMAKE_MSVC_RUNTIME_LIBRARY= \
      -DCMAKE_C_STANDARD_LIBRARIES="$work/c-$1.lib" -DCMAKE_EXE_LINKER_FLAGS=-Wl,-entry:start
}
# Each client of the width $1 once more, as pkg-config tells of the library.
pkg_config_clients() {
  local folder=$work/clients-$1-pkg-config flags
  flags=$(PKG_CONFIG_LIBDIR=$work/prefix/lib/$1/pkgconfig pkg-config --cflags --libs 'quillet >= 0.2') || return
  mkdir "$folder"
  cp "$work/prefix/bin/$1/quillet.dll" "$folder"
  for style in functions.c classes.cpp header.cpp; do
    # shellcheck disable=SC2086
    "$1-w64-mingw32-gcc" -static "tests/package/$style" $flags -lstdc++ -o "$folder/${style%.*}.exe" || return
  done
}
fail() {
  cat "$work/cmake"
  echo "widths_test: $*" >&2
  exit 1
}

# Part of another project, it is the library alone.
mkdir "$work/part"
cat >"$work/part/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.25)
project(Part LANGUAGES CXX)
add_subdirectory("$root" quillet)
add_executable(client "$root/tests/package/classes.cpp")
target_link_libraries(client PRIVATE Quillet::quillet)
END
cmake -G Ninja -S "$work/part" -B "$work/part/build" -DCMAKE_SYSTEM_NAME=Windows \
  -DCMAKE_CXX_COMPILER=i686-w64-mingw32-g++ >"$work/cmake" 2>&1 || fail "it cannot be part of a project"
targets=$(ninja -C "$work/part/build" -t targets all)
grep -qE '^(client|quillet)\.(exe|dll): ' <<<"$targets" && ! grep -qE '^[^ ]*(test|bench|viewer)\.exe: ' <<<"$targets" ||
  fail "it is more than a part"

install i686
clients x86_64 CXX x86_64-w64-mingw32-g++ >"$work/cmake" 2>&1 && fail "a 64-bit client takes the 32-bit library"
grep -q 'version: .*(32bit)' "$work/cmake" || fail "nothing says that the library has the wrong width"
install x86_64

# Leaves what the width $1 gives in a folder of its own.
give() (
  run() { "$root/scripts/wine-run.sh" -t 120 "$root/build/mingw-$width/$1" "${@:2}"; }
  quillet() { run "$1" "$work/prefix/bin/$width/quillet.exe" "${@:2}" --backend "$backend"; }
  width=$1
  mkdir "$work/$width"
  cd "$work/$width"
  for client in "$work/clients-$width-"*/*.exe; do
    run wineprefix "$client" "$media/cinepak.avi" "$media/ds_h264.mp4" "$media/copy.avi" "$media/cinepak.txt"
  done
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
  {
    clients "$width" C "$width-w64-mingw32-gcc" && clients "$width" CXX "$width-w64-mingw32-g++" &&
      foreign_client "$width" && pkg_config_clients "$width"
  } >"$work/cmake" 2>&1 || fail "the clients of $width are not made"
  tests/mux_prefix.sh scripts/wine-run.sh "$root/build/mingw-$width"
  give "$width" >"$work/output-$width"
done
diff "$work/output-i686" "$work/output-x86_64"
diff -r "$work/i686" "$work/x86_64"
for file in build/mingw-i686/media/copy.avi "$work/i686/vfw-functions.avi"; do
  ffmpeg -v error -i "$file" -map 0:v -f md5 -
done | uniq -c | grep -q '^ *2 ' || fail "what the client in C has written is not what it has read"
# Three clients in C.
for line in 'out of range: 8, Parameter out of range' 'closed: -1, No object has this handle' \
  'missing: 3, Could not open the source file' 'text: 3, Could not open the source file' 'copied: 1'; do
  [ "$(grep -c "^$line" "$work/output-i686")" -eq 3 ] || fail "not three times: $line"
done
# Seven clients, one picture; five of them, one sound.
[ "$(grep -c "^$(head -1 "$work/output-i686")$" "$work/output-i686")" -eq 7 ] || fail "the clients do not agree"
[ "$(grep '^samples' "$work/output-i686" | sort | uniq -c | sed 's/ s.*//')" -eq 5 ] || fail "they do not hear the same"
