#!/usr/bin/env bash
# Checks that each folder of the library includes only what stands below it. Status 0 when it does; otherwise each include
# that does not is named.
set -euo pipefail
cd "$(dirname "$0")/.."

# From the ground up. Folders on one floor do not include one another, and neither backend the other.
floors=(
  resources
  platform
  formats
  core
  ui
  directshow/base
  directshow/graph
  "directshow/inspection directshow/output directshow/source"
  directshow/rawdata
  "directshow vfw"
  api
  c_interface
)

# FILE INCLUDED, for each include of the library's own headers, the public ones as <quillet/...>.
includes() {
  git grep --untracked -E '^#include ("|<quillet/)' -- 'src/*.h' 'src/*.cpp' |
    sed -E 's,^src/([^:]*):#include ["<]([^">]*)[">].*,\1 \2,'
}

includes | awk -v floors="$(IFS=,; echo "${floors[*]}")" '
  function folder(file) { sub("/?[^/]*$", "", file); return file }
  function backend(file) {
    return match(file, "^(quillet/)?(directshow|ds_)") ? "DirectShow" : match(file, "^(quillet/)?vfw") ? "Video for Windows" : ""
  }
  BEGIN {
    count = split(floors, each, ",")
    for (i = 1; i <= count; ++i) {
      names = split(each[i], name, " ")
      for (j = 1; j <= names; ++j) floor[name[j]] = i
    }
    floor["quillet"] = 0
  }
  {
    from = folder($1)
    to = folder($2)
    isKnown = from in floor && to in floor
    isUpward = from != to && floor[to] >= floor[from]
    # Of public headers, too: what stands below the backends knows none of them, and one nothing of the other.
    isForeign = floor[from] < floor["api"] && backend($2) != "" && backend($2) != backend($1)
    if (!isKnown || isUpward || isForeign) {
      print "src/" $1 ": must not include " $2
      failed = 1
    }
  }
  END { exit failed }' >&2
