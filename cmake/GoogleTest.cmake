# Target gtest: GoogleTest, cross-compiled from the sources of the distribution's package.

set(QUILLET_GOOGLETEST_DIR /usr/src/googletest/googletest CACHE PATH "GoogleTest's sources")
if(NOT EXISTS ${QUILLET_GOOGLETEST_DIR}/src/gtest-all.cc)
  message(FATAL_ERROR "GoogleTest's sources are not in ${QUILLET_GOOGLETEST_DIR}: run scripts/setup.sh")
endif()

# Built by hand: GoogleTest's own build wants a C compiler as well. With Windows' own threads the runtime library has no
# std::mutex, on which GoogleTest's Notification stands: it gets ours, in every file that includes its headers.
add_library(gtest STATIC EXCLUDE_FROM_ALL ${QUILLET_GOOGLETEST_DIR}/src/gtest-all.cc)
target_include_directories(gtest SYSTEM PUBLIC ${QUILLET_GOOGLETEST_DIR}/include)
target_include_directories(gtest SYSTEM PRIVATE ${QUILLET_GOOGLETEST_DIR})
target_compile_definitions(gtest PUBLIC GTEST_HAS_PTHREAD=0 GTEST_HAS_NOTIFICATION_=1)
target_compile_options(gtest PUBLIC -include ${PROJECT_SOURCE_DIR}/tests/support/gtest_notification.h)
