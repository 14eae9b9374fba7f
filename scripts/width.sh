# For scripts that run programs of one width, to be sourced without arguments: takes `--64` from the front of the caller's
# arguments, and sets `preset` to what builds the programs.
preset=mingw-i686
if [ "${1:-}" = --64 ]; then
  preset=mingw-x86_64
  shift
fi
