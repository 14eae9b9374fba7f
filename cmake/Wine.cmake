# Running the built programs on the build host.

set(QUILLET_WINE_PREFIX ${CMAKE_BINARY_DIR}/wineprefix)
set(QUILLET_WINE_RUN ${PROJECT_SOURCE_DIR}/scripts/wine-run.sh)

# quillet_add_wine_test(TARGET SECONDS [SUFFIX [ARGUMENT...]])
#
# Adds a test that runs the program `target` under Wine, for at most `seconds`. Its name is the program's, with the suffix.
function(quillet_add_wine_test target seconds)
  set(arguments ${ARGN})
  list(POP_FRONT arguments suffix)
  set(name ${target}${suffix})
  add_test(NAME ${name}
    COMMAND ${QUILLET_WINE_RUN} -t ${seconds} ${QUILLET_WINE_PREFIX} $<TARGET_FILE:${target}> ${arguments})
  # The script keeps the limit itself; this one lets it first make the prefix, and end what it has started.
  math(EXPR timeout "${seconds} + 240")
  set_tests_properties(${name} PROPERTIES TIMEOUT ${timeout})
endfunction()
