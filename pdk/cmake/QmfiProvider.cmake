# What makes the library of a snapshot provider. QMFI_PDK_INCLUDE_DIRECTORY is where the kit's headers are.

# qmfi_add_provider(NAME SOURCES file... [LIBRARIES target...] [MORE_EXPORTS symbol...])
#
# Makes the library libNAME.so of the provider NAME, a word of letters and digits. It exports the functions that every provider has,
# each with NAME before it, and MORE_EXPORTS; everything else stays hidden, so that two providers can be in one process. One of the
# sources defines FI_PLUGIN_CLASS and includes cfiapiexport.h. NAME.provider of the folder where this is called is put beside it.
function(qmfi_add_provider NAME)
  cmake_parse_arguments(PROVIDER "" "" "SOURCES;LIBRARIES;MORE_EXPORTS" ${ARGN})
  set(MORE_EXPORTS)
  foreach(SYMBOL ${PROVIDER_MORE_EXPORTS})
    string(APPEND MORE_EXPORTS "${SYMBOL}; ")
  endforeach()
  set(SCRIPT "${CMAKE_CURRENT_BINARY_DIR}/${NAME}.map.in")
  set(EXPORTS "${CMAKE_CURRENT_BINARY_DIR}/${NAME}.map")
  configure_file("${CMAKE_CURRENT_FUNCTION_LIST_DIR}/provider_exports.map.in" "${SCRIPT}" @ONLY)
  add_custom_command(
    OUTPUT "${EXPORTS}"
    COMMAND "${CMAKE_CXX_COMPILER}" -E -P -x c "-I${QMFI_PDK_INCLUDE_DIRECTORY}" "${SCRIPT}" -o "${EXPORTS}"
    DEPENDS "${SCRIPT}" "${QMFI_PDK_INCLUDE_DIRECTORY}/cfientrypoints.def"
    VERBATIM)
  add_custom_target("${NAME}_exports" DEPENDS "${EXPORTS}")

  add_library("${NAME}" SHARED ${PROVIDER_SOURCES})
  target_compile_definitions("${NAME}" PRIVATE "FI_PLUGIN_PREFIX=${NAME}")
  # A unique symbol would pin the library in memory for ever, and a framework must be able to unload it.
  target_compile_options("${NAME}" PRIVATE "$<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>")
  target_link_libraries("${NAME}" PRIVATE ${PROVIDER_LIBRARIES} QmfiPdk::qmfi_pdk)
  target_link_options("${NAME}" PRIVATE "LINKER:--version-script=${EXPORTS}")
  set_target_properties("${NAME}" PROPERTIES POSITION_INDEPENDENT_CODE ON LINK_DEPENDS "${EXPORTS}")
  add_dependencies("${NAME}" "${NAME}_exports")

  # Hosts look for it beside the library.
  set(DESCRIPTOR "${CMAKE_CURRENT_SOURCE_DIR}/${NAME}.provider")
  if(EXISTS "${DESCRIPTOR}")
    file(GENERATE OUTPUT "$<TARGET_FILE_DIR:${NAME}>/${NAME}.provider" INPUT "${DESCRIPTOR}")
  endif()
endfunction()

# qmfi_add_provider_catalogs(NAME FOLDER DESTINATION): the texts of a provider's messages, FOLDER/<language>.txt, as resource bundles
# in DESTINATION/NAME, where QMFI_CATALOG_DIR or the installation has them. The target NAME_catalogs makes them; it is part of all.
# What was made stands in NAME_CATALOGS afterwards.
find_program(GENRB_PROGRAM genrb REQUIRED)
function(qmfi_add_provider_catalogs NAME FOLDER DESTINATION)
  file(GLOB TEXTS CONFIGURE_DEPENDS "${FOLDER}/*.txt")
  list(FILTER TEXTS EXCLUDE REGEX "/CMakeLists.txt$")
  set(BUNDLES)
  foreach(TEXT ${TEXTS})
    cmake_path(GET TEXT STEM LANGUAGE)
    set(BUNDLE "${DESTINATION}/${NAME}/${LANGUAGE}.res")
    add_custom_command(
      OUTPUT "${BUNDLE}"
      COMMAND ${CMAKE_COMMAND} -E make_directory "${DESTINATION}/${NAME}"
      COMMAND "${GENRB_PROGRAM}" --quiet --encoding UTF-8 --destdir "${DESTINATION}/${NAME}" "${TEXT}"
      DEPENDS "${TEXT}"
      COMMENT "Compiling message catalog ${LANGUAGE} of ${NAME}"
      VERBATIM)
    list(APPEND BUNDLES "${BUNDLE}")
  endforeach()
  add_custom_target("${NAME}_catalogs" ALL DEPENDS ${BUNDLES})
  set(${NAME}_CATALOGS ${BUNDLES} PARENT_SCOPE)
endfunction()
