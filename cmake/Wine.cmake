# Running the built programs on the build host.

include(${CMAKE_CURRENT_LIST_DIR}/WindowsCheck.cmake)

set(QUILLET_WINE_PREFIX ${CMAKE_BINARY_DIR}/wineprefix)
set(QUILLET_WINE_RUN ${PROJECT_SOURCE_DIR}/scripts/wine-run.sh)

# quillet_add_wine_test(TARGET SECONDS [SUFFIX suffix] [PREFIX prefix] [ENVIRONMENT NAME=value] [ARGUMENTS ARGUMENT...])
#
# Adds a test that runs the program `target` under Wine, for at most `seconds`, and on Windows in the check of that. Its name
# is the program's, with the suffix.
function(quillet_add_wine_test target seconds)
  cmake_parse_arguments(PARSE_ARGV 2 arg "" "SUFFIX;PREFIX;ENVIRONMENT" "ARGUMENTS")
  if(NOT arg_PREFIX)
    set(arg_PREFIX ${QUILLET_WINE_PREFIX})
  endif()
  set(name ${target}${arg_SUFFIX})
  quillet_check_on_windows(test ${name} ${target} ${seconds} "${arg_ENVIRONMENT}" ${arg_ARGUMENTS})
  add_test(NAME ${name}
    COMMAND ${QUILLET_WINE_RUN} -t ${seconds} ${arg_PREFIX} $<TARGET_FILE:${target}> ${arg_ARGUMENTS})
  set_tests_properties(${name} PROPERTIES ENVIRONMENT "${arg_ENVIRONMENT}")
  # The script keeps the limit itself; this one lets it first make the prefix, and end what it has started.
  math(EXPR timeout "${seconds} + 240")
  set_tests_properties(${name} PROPERTIES TIMEOUT ${timeout})
endfunction()
