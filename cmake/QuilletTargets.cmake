# What all targets of the project share.

# Warnings are errors; nothing is linked dynamically but the platform and the library itself.
add_library(quillet_options INTERFACE)
target_compile_options(quillet_options INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Wall -Wextra -Wpedantic -Werror>)
# One arithmetic in both widths: the 32-bit default computes in extended precision, and truncates otherwise here and there.
# Windows' own calls align the stack to 4 bytes only, less than SSE's registers want when they are saved to it.
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "i686")
  target_compile_options(quillet_options INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-msse2 -mfpmath=sse -mstackrealign>)
endif()
# windows.h must not make macros of min and max.
target_compile_definitions(quillet_options INTERFACE NOMINMAX)
target_link_options(quillet_options INTERFACE -static)

# Gives `target` a version resource with `description`; `type` is VFT_DLL or VFT_APP.
function(quillet_add_version_resource target description type)
  set(VERSION_FILE_DESCRIPTION "${description}")
  set(VERSION_FILE_TYPE ${type})
  get_target_property(name ${target} OUTPUT_NAME)
  if(type STREQUAL "VFT_DLL")
    set(VERSION_FILE_NAME "${name}.dll")
  else()
    set(VERSION_FILE_NAME "${name}.exe")
  endif()
  configure_file(${PROJECT_SOURCE_DIR}/src/resources/version.rc.in ${CMAKE_CURRENT_BINARY_DIR}/version.rc @ONLY)
  target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/version.rc)
endfunction()
