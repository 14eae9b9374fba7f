#!/usr/bin/env bash
# Makes a Wine prefix, BUILD-FOLDER/muxprefix, in which DirectShow writes with the tests' multiplexer, and reads with
# Wine's own splitter, which does not decode.
#
#   tests/mux_prefix.sh WINE-RUN BUILD-FOLDER
set -euo pipefail

wine_run=$1 build=$2
prefix=$build/muxprefix
if [ ! -e "$prefix/registered" ]; then
  "$wine_run" -t 120 "$prefix" "$build/bin/quillet.exe" --help >/dev/null  # Makes the prefix as wide as the client.
  for class in E2510970-F137-11CE-8B67-00AA00A3F1A6 8596E5F0-0DA5-11D0-BD21-00A0C911CE86; do
    "$wine_run" -t 60 "$prefix" \
      reg add "HKCR\\CLSID\\{$class}\\InprocServer32" /ve /d "Z:$build/bin/quillet_test_mux.dll" /f /reg:64 >/dev/null
  done
  splitter='HKCR\CLSID\{083863F1-70DE-11D0-BD40-00A0C911CE86}\Instance\{F9D8D64E-A144-47DC-8EE0-F53498372C29}'
  "$wine_run" -t 60 "$prefix" reg delete "$splitter" /f /reg:64 >/dev/null
  touch "$prefix/registered"
fi
