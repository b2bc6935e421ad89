# qmfi_add_test(NAME SOURCES file... [LIBRARIES target...] [LABELS label...] [COMMAND command...])
#
# Builds a GoogleTest program and registers it with CTest under its name. LABELS say where it runs: every test carries
# "unit", "contract" or "system", and "threads" where it is worth a run under ThreadSanitizer. COMMAND replaces the plain
# program call, for tests that run inside the testbed.

find_package(GTest REQUIRED)

# Where the tests find sources and what was built. In a header, and not on every command line, so that what one clone has
# compiled serves another one too: only who includes the header has to be compiled anew.
add_library(build_tree INTERFACE)
file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/include/build_tree.h" @ONLY CONTENT
[[// The folders of this checkout and of this build, as string literals.
#ifndef BUILD_TREE_H
#define BUILD_TREE_H

#define QMFI_SOURCE_DIR "@PROJECT_SOURCE_DIR@"
#define QMFI_BINARY_DIR "@PROJECT_BINARY_DIR@"

#endif
]])
target_include_directories(build_tree INTERFACE "${PROJECT_BINARY_DIR}/include")

# For the sources of tests alone. The presets that test say -O0: these sources are compiled far more often than they run, and
# take a quarter less time so, with the sanitizers half. What is tested, what supports the tests, campaigns and benchmarks are
# optimised as the build type says.
set(QMFI_TEST_OPTIONS "" CACHE STRING "Options for the sources of tests, behind those of the build type")

# The headers of GoogleTest are compiled once for all tests. Only these, and only for tests: everything else shows with
# every build that it includes what it uses.
file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/gtest_headers.cpp" CONTENT "int main() {}\n")
add_executable(gtest_headers EXCLUDE_FROM_ALL "${PROJECT_BINARY_DIR}/gtest_headers.cpp")
target_compile_options(gtest_headers PRIVATE ${QMFI_TEST_OPTIONS})
target_link_libraries(gtest_headers PRIVATE GTest::gmock)
target_precompile_headers(gtest_headers PRIVATE <gmock/gmock.h> <gtest/gtest.h>)

# qmfi_compile_as_tests(TARGET source...): sources of the product among them, which are named by their whole path, stay
# compiled as the product is.
function(qmfi_compile_as_tests TARGET)
  target_precompile_headers(${TARGET} REUSE_FROM gtest_headers)
  foreach(SOURCE ${ARGN})
    if(IS_ABSOLUTE "${SOURCE}")
      set_source_files_properties("${SOURCE}" PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
    else()
      set_source_files_properties("${SOURCE}" PROPERTIES COMPILE_OPTIONS "${QMFI_TEST_OPTIONS}")
    endif()
  endforeach()
endfunction()

# ThreadSanitizer's shadow memory needs the address space as it was before randomisation grew to 32 bits.
set(QMFI_TEST_LAUNCHER)
if(QMFI_SANITIZE STREQUAL "thread")
  set(QMFI_TEST_LAUNCHER setarch --addr-no-randomize)
endif()

# All that ThreadSanitizer is to see: the tests that carry "threads", and what else is run beside them.
add_custom_target(threaded_tests)

function(qmfi_add_test NAME)
  cmake_parse_arguments(TEST "" "" "SOURCES;LIBRARIES;LABELS;COMMAND" ${ARGN})
  add_executable(${NAME} ${TEST_SOURCES})
  target_link_libraries(${NAME} PRIVATE ${TEST_LIBRARIES} build_tree test_support GTest::gmock GTest::gtest_main)
  qmfi_compile_as_tests(${NAME} ${TEST_SOURCES})
  if(NOT TEST_COMMAND)
    set(TEST_COMMAND $<TARGET_FILE:${NAME}>)
  endif()
  add_test(NAME ${NAME} COMMAND ${QMFI_TEST_LAUNCHER} ${TEST_COMMAND})
  set_tests_properties(${NAME} PROPERTIES LABELS "${TEST_LABELS}")
  if(threads IN_LIST TEST_LABELS)
    add_dependencies(threaded_tests ${NAME})
  endif()
endfunction()
