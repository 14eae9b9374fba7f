#!/usr/bin/env bash
# Installs what Quillet needs to be built and tested on Debian 12 or 13: cross compilers, Wine for 32-bit programs,
# GoogleTest's sources, the codecs of the test media, and what the bindings are tested with. Installs only what is
# missing; safe to run again.
#
#   scripts/setup.sh         what building, the demo and the tests need
#   scripts/setup.sh --dev   also what checking the style and making the reference manual needs
#   scripts/setup.sh --with PACKAGE...   also these
set -euo pipefail

packages=(
  cmake ninja-build                               # build
  g++-mingw-w64-i686 g++-mingw-w64-x86-64         # cross compilers
  googletest                                      # test framework (sources, cross-compiled with the tests)
  wine wine32:i386 wine64                         # runs the programs
  gstreamer1.0-plugins-base{:i386,:amd64}         # Wine's media decoders, for programs of both widths
  gstreamer1.0-plugins-good{:i386,:amd64}
  gstreamer1.0-libav{:i386,:amd64}
  ffmpeg                                          # makes and checks test media
  clang lld llvm pkg-config                       # clients of other compilers, and their import library
  python3                                         # runs the binding's test, as far as it needs no Windows
)
command -v npm >/dev/null || packages+=(npm)      # fetches Node for Windows: scripts/fetch-node.sh
dev_packages=(clang-format clang-tidy doxygen graphviz)

case "${1:-}" in
  "") ;;
  --dev) packages+=("${dev_packages[@]}") ;;
  --with) packages+=("${@:2}") ;;
  *) sed -n '2,8s/^# \{0,1\}//p' "$0"; exit 2 ;;
esac

release=$(. /etc/os-release 2>/dev/null && echo "${VERSION_CODENAME:-}") || true
unknown="setup: this is neither Debian 12 nor Debian 13, where all of this has been run;"
case "$release" in
  bookworm | trixie) ;;
  *)
    command -v apt-get >/dev/null || { echo "$unknown what this script lists has to be there already" >&2; exit 0; }
    echo "$unknown trying the packages of the same names" >&2
    release=
    ;;
esac

is_installed() {
  [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

missing=()
for package in "${packages[@]}"; do
  is_installed "$package" || missing+=("$package")
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "setup: run as root, or install sudo" >&2; exit 1; }
  as_root=(sudo)
fi

echo "setup: installing ${missing[*]}"
if ! dpkg --print-foreign-architectures | grep -qx i386; then
  echo "setup: adding the i386 architecture (Wine runs 32-bit programs)"
  "${as_root[@]}" dpkg --add-architecture i386
fi
# A mirror in the middle of an update fails for one of its indexes only; the others are usable.
"${as_root[@]}" apt-get -q update || echo "setup: some package indexes could not be fetched; trying with the others"

# Never by removing something: the packages of one architecture would give way to the newer ones of the other.
install() {
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -y --no-install-recommends --no-remove "$@" install \
    "${missing[@]}"
}

if ! apt-cache show wine32:i386 >/dev/null 2>&1; then
  echo "setup: there is no index of the i386 packages, among which is Wine for 32-bit programs; try again later" >&2
  exit 1
fi
# When the security archive's i386 index lags behind amd64's, i386 libraries cannot be installed beside the newer amd64
# ones. The main archive is consistent: take every package from there, for this one call, stepping back where needed.
if [ -n "$release" ] && ! install --simulate >/dev/null 2>&1; then
  echo "setup: the package indexes of amd64 and i386 are out of step; installing from the main archive alone"
  preferences=$(mktemp)
  trap 'rm -f "$preferences"' EXIT
  chmod 644 "$preferences"
  printf 'Package: *\nPin: release n=%s\nPin-Priority: 1001\n' "$release" >"$preferences"
  install -o Dir::Etc::Preferences="$preferences" --allow-downgrades
else
  install
fi
