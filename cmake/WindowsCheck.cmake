# Target windows-check: windows-check.zip in the build folder, with the tests, the benchmarks and the fuzz program of both
# widths, and check.cmd, which runs them on a Windows machine. The other width is built for it as well.

# quillet_check_on_windows(KIND NAME TARGET SECONDS ENVIRONMENT [ARGUMENT...])
#
# Has the check run the program `target` for at most `seconds`. `kind` is test, benchmark or fuzz; `environment` is one
# NAME=value, or empty.
function(quillet_check_on_windows kind name target seconds environment)
  if(environment STREQUAL "")
    set(environment -)
  endif()
  list(JOIN ARGN " " arguments)
  set_property(GLOBAL APPEND PROPERTY QUILLET_WINDOWS_TARGETS ${target})
  set_property(GLOBAL APPEND_STRING PROPERTY QUILLET_WINDOWS_PROGRAMS
    "${kind} ${name} ${seconds} ${environment} ${target}.exe ${arguments}\n")
endfunction()

# quillet_leave_out_on_windows(NAME WHY)
#
# Has the report of the check say why a test is not part of it.
function(quillet_leave_out_on_windows name why)
  set_property(GLOBAL APPEND_STRING PROPERTY QUILLET_WINDOWS_LEFT_OUT "${QUILLET_WIDTH} ${name}: left out, ${why}\n")
endfunction()

# Adds the target, of all that was named before.
function(quillet_add_windows_check)
  get_property(targets GLOBAL PROPERTY QUILLET_WINDOWS_TARGETS)
  list(REMOVE_DUPLICATES targets)
  get_property(programs GLOBAL PROPERTY QUILLET_WINDOWS_PROGRAMS)
  get_property(left_out GLOBAL PROPERTY QUILLET_WINDOWS_LEFT_OUT)

  set(sources ${PROJECT_SOURCE_DIR}/scripts/windows)
  add_executable(run_limited EXCLUDE_FROM_ALL ${sources}/run_limited.cpp)
  target_link_libraries(run_limited PRIVATE quillet_options)

  # What a width has there. cmd.exe finds its labels only where lines end as on Windows.
  set(parts ${CMAKE_BINARY_DIR}/windows-check)
  set(width ${parts}/${QUILLET_WIDTH})
  configure_file(${sources}/check.cmd ${parts}/check.cmd @ONLY NEWLINE_STYLE WIN32)
  file(CONFIGURE OUTPUT ${width}/programs.txt CONTENT "${programs}" @ONLY NEWLINE_STYLE WIN32)
  file(CONFIGURE OUTPUT ${width}/left-out.txt CONTENT "${left_out}" @ONLY NEWLINE_STYLE WIN32)
  set(strip)
  foreach(target run_limited quillet quillet_internals quillet_cli ${targets})
    list(APPEND strip COMMAND ${CMAKE_STRIP} -o ${width}/bin/$<TARGET_FILE_NAME:${target}> $<TARGET_FILE:${target}>)
  endforeach()
  add_custom_target(windows_check_parts
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${width}/bin ${width}/media
    COMMAND ${CMAKE_COMMAND} -E make_directory ${width}/bin
    ${strip}
    COMMAND ${CMAKE_COMMAND} -E copy_directory ${CMAKE_BINARY_DIR}/media ${width}/media
    VERBATIM
  )
  add_dependencies(windows_check_parts run_limited quillet quillet_internals quillet_cli ${targets} quillet_bench_media)

  set(other x86_64)
  if(QUILLET_WIDTH STREQUAL "x86_64")
    set(other i686)
  endif()
  set(zip ${CMAKE_BINARY_DIR}/windows-check.zip)
  add_custom_target(windows-check
    COMMAND ${CMAKE_COMMAND} --preset mingw-${other} -DQUILLET_BUILD_TESTS=ON -DQUILLET_BUILD_BENCH=ON
    COMMAND ${CMAKE_COMMAND} --build --preset mingw-${other} --target windows_check_parts
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${parts}/${other}
    COMMAND ${CMAKE_COMMAND} -E copy_directory
      ${PROJECT_SOURCE_DIR}/build/mingw-${other}/windows-check/${other} ${parts}/${other}
    COMMAND ${CMAKE_COMMAND} -E chdir ${parts} ${CMAKE_COMMAND} -E tar cf ${zip} --format=zip check.cmd i686 x86_64
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    COMMENT "The check for Windows: ${zip}"
    VERBATIM
    USES_TERMINAL
  )
  add_dependencies(windows-check windows_check_parts)
endfunction()
