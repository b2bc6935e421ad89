# Compiler settings that every target of the project shares, and the places where the build puts what it makes.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
  # Paths are told relative to the checkout, so that a second clone profits from what the first has compiled.
  # What is compiled with precompiled headers is kept only when told that no macro in them tells the time; they are large, so
  # their checksums are kept.
  set(CMAKE_C_COMPILER_LAUNCHER "${CMAKE_COMMAND}" -E env "CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}"
      CCACHE_SLOPPINESS=pch_defines,time_macros CCACHE_INODECACHE=1 "${CCACHE_PROGRAM}")
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_C_COMPILER_LAUNCHER})
endif()
# A precompiled header must not hold the time at which it was made, or it would be another one each time.
add_compile_options("$<$<COMPILE_LANG_AND_ID:CXX,Clang>:SHELL:-Xclang -fno-pch-timestamp>")
# Debuggers that are started in the checkout find the sources.
add_compile_options("-fdebug-prefix-map=${PROJECT_SOURCE_DIR}=.")

set(QMFI_SANITIZE "" CACHE STRING "Sanitizers to build with: empty, address or thread")
set_property(CACHE QMFI_SANITIZE PROPERTY STRINGS "" address thread)

option(QMFI_WERROR "Let warnings end the build" OFF)

# A unique symbol would pin a plug-in in memory for ever, and a framework must be able to unload it.
add_compile_options(-Wall -Wextra $<$<BOOL:${QMFI_WERROR}>:-Werror> -Wshadow -Wformat=2 $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
                    "$<$<AND:$<COMPILE_LANGUAGE:CXX>,$<CXX_COMPILER_ID:GNU>>:-fno-gnu-unique>")
# Optimising fully, GCC 12 sees overlapping copies in a literal + string where there are none.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  add_compile_options("$<$<CONFIG:Release>:-Wno-restrict>")
endif()
remove_definitions(-DNDEBUG)

if(QMFI_SANITIZE STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
elseif(QMFI_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
endif()

option(QMFI_COVERAGE "Count the lines and branches that are reached; needs clang" OFF)
if(QMFI_COVERAGE)
  add_compile_options(-fprofile-instr-generate -fcoverage-mapping)
  add_link_options(-fprofile-instr-generate)
endif()

option(QMFI_FUZZ "Have the fuzz targets beside the other tests; needs clang" OFF)
if(QMFI_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(ICU 70 REQUIRED COMPONENTS uc i18n)
find_library(ACE_LIBRARY ACE REQUIRED)
