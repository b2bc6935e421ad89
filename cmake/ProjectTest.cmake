# qmfi_add_test(NAME SOURCES file... [LIBRARIES target...] [LABELS label...] [COMMAND command...])
#
# Builds a GoogleTest program and registers it with CTest under its name. LABELS say where it runs: every test carries
# "unit", "contract" or "system", and "threads" where it is worth a run under ThreadSanitizer. COMMAND replaces the plain
# program call, for tests that run inside the testbed.

find_package(GTest REQUIRED)

# ThreadSanitizer's shadow memory needs the address space as it was before randomisation grew to 32 bits.
set(QMFI_TEST_LAUNCHER)
if(QMFI_SANITIZE STREQUAL "thread")
  set(QMFI_TEST_LAUNCHER setarch --addr-no-randomize)
endif()

function(qmfi_add_test NAME)
  cmake_parse_arguments(TEST "" "" "SOURCES;LIBRARIES;LABELS;COMMAND" ${ARGN})
  add_executable(${NAME} ${TEST_SOURCES})
  target_link_libraries(${NAME} PRIVATE ${TEST_LIBRARIES} GTest::gmock GTest::gtest_main)
  target_compile_definitions(${NAME} PRIVATE QMFI_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
                                             QMFI_BINARY_DIR="${PROJECT_BINARY_DIR}")
  if(NOT TEST_COMMAND)
    set(TEST_COMMAND $<TARGET_FILE:${NAME}>)
  endif()
  add_test(NAME ${NAME} COMMAND ${QMFI_TEST_LAUNCHER} ${TEST_COMMAND})
  set_tests_properties(${NAME} PROPERTIES LABELS "${TEST_LABELS}")
endfunction()
