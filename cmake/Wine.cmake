# Running the built programs on the build host.

set(QUILLET_WINE_PREFIX ${CMAKE_BINARY_DIR}/wineprefix)
set(QUILLET_WINE_RUN ${PROJECT_SOURCE_DIR}/scripts/wine-run.sh)

# Adds a test that runs the program `target` under Wine, for at most `seconds`.
function(quillet_add_wine_test target seconds)
  add_test(NAME ${target} COMMAND ${QUILLET_WINE_RUN} -t ${seconds} ${QUILLET_WINE_PREFIX} $<TARGET_FILE:${target}>)
  # The script keeps the limit itself; this one lets it first make the prefix, and end what it has started.
  math(EXPR timeout "${seconds} + 240")
  set_tests_properties(${target} PROPERTIES TIMEOUT ${timeout})
endfunction()
