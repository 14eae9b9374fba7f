#!/usr/bin/env bash
# Makes what a release consists of, in build/package:
#
#   quillet-VERSION-windows.zip          both widths: library, import libraries, headers, programs, manual
#   quillet-VERSION-windows-symbols.zip  their symbols, to be unpacked over it
#   quillet-VERSION.tar.gz               the sources
#   vcpkg/, msys2/                       recipes that build from the sources, once their ARCHIVE-URL is filled in
#
# Of what is committed; there must be no other changes.
set -euo pipefail
cd "$(dirname "$0")/.."

case "${1:-}" in
  --help) sed -n '2,9s/^# \{0,1\}//p' "$0"; exit 0 ;;
esac
[ -z "$(git status --porcelain)" ] || { echo "package: there are changes that are not committed" >&2; exit 1; }
scripts/setup.sh --dev

# What the project says of itself.
project() {
  sed -n "s/^CMAKE_PROJECT_$1:STATIC=//p" build/release-i686/CMakeCache.txt
}
cmake --preset release-i686
version=$(project VERSION)
packages=$PWD/build/package
name=quillet-$version-windows
rm -rf "$packages"
mkdir -p "$packages/all/$name/docs" "$packages/symbols/$name"

for width in i686 x86_64; do
  cmake --preset "release-$width"
  cmake --build --preset "release-$width"
  cmake --install "build/release-$width" --component Unspecified --prefix "$packages/all/$name"
  cmake --install "build/release-$width" --component symbols --prefix "$packages/symbols/$name"
done
cmake --build --preset release-i686 --target docs
cp README.md CHANGELOG.md LICENCE.txt "$packages/all/$name"
cp docs/*.{md,png} "$packages/all/$name/docs"
cp -r build/release-i686/docs/html "$packages/all/$name/docs/manual"

(cd "$packages/all" && cmake -E tar cf "$packages/$name.zip" --format=zip -- "$name")
(cd "$packages/symbols" && cmake -E tar cf "$packages/$name-symbols.zip" --format=zip -- "$name")
rm -r "$packages/all" "$packages/symbols"

sources=$packages/quillet-$version.tar.gz
git archive --prefix="quillet-$version/" -o "$sources" HEAD
cp -r packaging/* "$packages"
sum=$(sha512sum "$sources")
sed -i "s/@VERSION@/$version/;s/@DESCRIPTION@/$(project DESCRIPTION)/;s/@SHA512@/${sum%% *}/" "$packages"/{vcpkg,msys2}/*
echo "package: $packages"
ls -l "$packages"
