#!/usr/bin/env bash
# Rehearses the check for Windows under Wine: what the target windows-check has packed is unpacked into a folder with a
# blank in its name and run in a new prefix. Prints where the tests' verdicts differ from those of the last runs of ctest in
# build/mingw-i686 and build/mingw-x86_64; the status is 0 when nowhere.
#
#   scripts/windows-rehearsal.sh ZIP [WIDTH [KIND]]    the last two as check.cmd takes them
set -euo pipefail
zip=$(realpath "$1")
cd "$(dirname "$0")/.."

root=$PWD work=$PWD/build/rehearsal-${2:-all}
folder="$work/windows check" prefix=$work/prefix
rm -rf "$work"
mkdir -p "$folder"
cd "$folder"
cmake -E tar xf "$zip"

# All that is not as on Windows: the tests' multiplexer and file writer, since Wine's cannot write.
"$root/scripts/wine-run.sh" -t 120 "$prefix" x86_64/bin/quillet.exe --help >/dev/null  # Makes the prefix, of 64 bits.
for view in 32:i686 64:x86_64; do
  for class in E2510970-F137-11CE-8B67-00AA00A3F1A6 8596E5F0-0DA5-11D0-BD21-00A0C911CE86; do
    "$root/scripts/wine-run.sh" "$prefix" reg add "HKCR\\CLSID\\{$class}\\InprocServer32" /ve \
      /d "Z:$root/build/mingw-${view#*:}/bin/quillet_test_mux.dll" /f "/reg:${view%:*}" >/dev/null
  done
done
"$root/scripts/wine-run.sh" -t 7200 "$prefix" cmd /c check.cmd "${@:2}" | tr -d '\r' || true

# The verdicts in a log, as "PROGRAM VERDICT TEST"; a line "1/2 Test: PROGRAM" comes before those of a program.
verdicts() {
  tr -d '\r' | awk '/^[0-9]+\/[0-9]+ Test: / { name = $3 }
    /^\[ +(OK|FAILED|SKIPPED) +\] [^ ]+ \(/ { gsub(/[][]/, ""); print name, $1, $2 }' | sort
}

status=0
for width in report/*/; do
  width=$(basename "$width")
  verdicts <"$root/build/mingw-$width/Testing/Temporary/LastTest.log" >"$work/ctest-$width"
  for log in report/"$width"/*.txt; do
    echo "0/0 Test: $(basename "$log" .txt)"
    cat "$log"
  done | verdicts >"$work/check-$width"
  diff "$work/ctest-$width" "$work/check-$width" || status=1
  echo "$width: $(wc -l <"$work/check-$width") tests by the check, $(wc -l <"$work/ctest-$width") by ctest"
done
exit "$status"
