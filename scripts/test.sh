#!/usr/bin/env bash
# Builds the library for 32 and 64 bits and runs all tests in both widths, at the same time: each has a Wine prefix of its
# own. Then, unless only some tests are asked for, installs both and expects the same of them. Installs what is missing
# first; safe to run again, and quick when nothing has changed.
#
#   scripts/test.sh [--32 | --64 | --checked] [CTEST-ARGUMENT...]    for example scripts/test.sh --64 -R errors_test
#
# --checked runs the tests with a library, and tests, that end at undefined behaviour and at overrun buffers of the stack.
# Each line says which width it belongs to, and the last one how many tests of both have passed.
set -euo pipefail
cd "$(dirname "$0")/.."
SECONDS=0

presets=(mingw-i686 mingw-x86_64)
case "${1:-}" in
  --help) sed -n '2,9s/^# \{0,1\}//p' "$0"; exit 0 ;;
  --32) presets=(mingw-i686); shift ;;
  --64) presets=(mingw-x86_64); shift ;;
  --checked) presets=(checked); shift ;;
esac

scripts/setup.sh

for preset in "${presets[@]}"; do
  cmake --preset "$preset" -DQUILLET_BUILD_TESTS=ON
  cmake --build --preset "$preset"
done
echo "test.sh: built after $SECONDS s"

# Runs the tests of the preset $1; the results stay in its build folder.
run() {
  ctest --test-dir "build/$1" --output-on-failure --no-tests=error --parallel "$(($(nproc) / ${#presets[@]}))" \
    --output-junit results.xml "${@:2}" | sed -u "s/^/${1#mingw-}: /"
}

# How many tests of the results $2... have the status $1.
count() {
  grep -ho "<testcase .*status=\"$1\"" "${@:2}" | wc -l || true
}

status=0
runs=()
results=()
for preset in "${presets[@]}"; do
  rm -f "build/$preset/results.xml"
  run "$preset" "$@" &
  runs+=($!)
  results+=("build/$preset/results.xml")
done
for each in "${runs[@]}"; do
  wait "$each" || status=1
done
passed=$(count run "${results[@]}")
failed=$(count fail "${results[@]}")
if [ ${#presets[@]} -eq 2 ] && [ $# -eq 0 ]; then
  if tests/widths_test.sh; then
    passed=$((passed + 1))
  else
    echo "tests/widths_test.sh: FAILED"
    failed=$((failed + 1)) status=1
  fi
fi
echo "test.sh: finished in $SECONDS s"
echo "tests: $passed passed, $failed failed"
exit "$status"
