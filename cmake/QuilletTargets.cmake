# What all targets of the project share.

# A release is the code that the tests run. Its symbols are taken out later, by quillet_install.
set(CMAKE_CXX_FLAGS_RELEASE ${CMAKE_CXX_FLAGS_RELWITHDEBINFO})

# One prefix holds both widths: what differs between them has a folder of its own in each of the prefix's.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(QUILLET_WIDTH i686)
else()
  set(QUILLET_WIDTH x86_64)
endif()
set(QUILLET_SUBFOLDER ${QUILLET_WIDTH} CACHE STRING "The folder of this width; empty for a prefix of one width")
if(QUILLET_SUBFOLDER)
  set(in_subfolder /${QUILLET_SUBFOLDER})
endif()
set(QUILLET_BINDIR ${CMAKE_INSTALL_BINDIR}${in_subfolder})
set(QUILLET_LIBDIR ${CMAKE_INSTALL_LIBDIR}${in_subfolder})

# Warnings are errors; nothing is linked dynamically but the platform and the library itself.
add_library(quillet_options INTERFACE)
target_compile_options(quillet_options INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Wall -Wextra -Wpedantic -Werror>)
# Addresses in a segment begin at 0 (NtCurrentTeb), which GCC takes for an access through null.
target_compile_options(quillet_options INTERFACE $<$<COMPILE_LANG_AND_ID:CXX,GNU>:--param=min-pagesize=0>)
# One arithmetic in both widths: the 32-bit default computes in extended precision, and truncates otherwise here and there.
# Windows' own calls align the stack to 4 bytes only, less than SSE's registers want when they are saved to it.
if(QUILLET_WIDTH STREQUAL "i686")
  target_compile_options(quillet_options INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-msse2 -mfpmath=sse -mstackrealign>)
endif()
# windows.h must not make macros of min and max.
target_compile_definitions(quillet_options INTERFACE NOMINMAX)
target_link_options(quillet_options INTERFACE -static)

# Installs `target`. A release is stripped; its symbols are beside it, in a file that debuggers find by the name in the
# binary.
function(quillet_install target)
  install(TARGETS ${target} ${ARGN}
    RUNTIME DESTINATION ${QUILLET_BINDIR}
    ARCHIVE DESTINATION ${QUILLET_LIBDIR}
  )
  if(CMAKE_BUILD_TYPE STREQUAL "Release")
    set(symbols $<TARGET_FILE:${target}>.debug)
    add_custom_command(TARGET ${target} POST_BUILD
      COMMAND ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE:${target}> ${symbols}
      COMMAND ${CMAKE_OBJCOPY} --strip-all --add-gnu-debuglink=${symbols} $<TARGET_FILE:${target}>
      VERBATIM
    )
    install(FILES ${symbols} DESTINATION ${QUILLET_BINDIR} COMPONENT symbols)
  endif()
endfunction()

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
