# What every provider has beside its objects.

# qmfi_add_provider(NAME): the library NAMEfi in the folder where this is called, from NAME_entry_points.cpp and the target
# NAME_provider, with the exports of NAME_exports.map.in, and its descriptor NAMEfi.provider. Both are installed as the component
# provider-NAME.
function(qmfi_add_provider NAME)
  # Everything but what is listed stays hidden, C++ symbols included.
  set(EXPORT_MAP "${CMAKE_CURRENT_BINARY_DIR}/${NAME}_exports.map")
  add_custom_command(
    OUTPUT "${EXPORT_MAP}"
    COMMAND ${CMAKE_C_COMPILER} -E -P -x c "-I${PROJECT_SOURCE_DIR}/pdk/include"
            "${CMAKE_CURRENT_SOURCE_DIR}/${NAME}_exports.map.in" -o "${EXPORT_MAP}"
    DEPENDS "${NAME}_exports.map.in" "${PROJECT_SOURCE_DIR}/pdk/include/cfientrypoints.def"
    VERBATIM)
  add_custom_target("${NAME}_export_map" DEPENDS "${EXPORT_MAP}")

  add_library("${NAME}fi" SHARED "${NAME}_entry_points.cpp")
  target_link_libraries("${NAME}fi" PRIVATE "${NAME}_provider")
  target_link_options("${NAME}fi" PRIVATE "LINKER:--version-script=${EXPORT_MAP}")
  set_target_properties("${NAME}fi" PROPERTIES LINK_DEPENDS "${EXPORT_MAP}")
  add_dependencies("${NAME}fi" "${NAME}_export_map")

  # Hosts look for it beside the library.
  configure_file("${NAME}fi.provider" "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/${NAME}fi.provider" COPYONLY)

  install(TARGETS "${NAME}fi" LIBRARY DESTINATION "${QMFI_PROVIDER_DIRECTORY}" COMPONENT "provider-${NAME}")
  install(FILES "${NAME}fi.provider" DESTINATION "${QMFI_PROVIDER_DIRECTORY}" COMPONENT "provider-${NAME}")
endfunction()

find_program(GENRB_PROGRAM genrb REQUIRED)
add_custom_target(catalogs ALL)

# qmfi_add_catalogs(PROVIDER COMPONENT): the message catalogs, a resource bundle for each language, made from the texts in the
# folder where this is called. They are installed with that component.
function(qmfi_add_catalogs PROVIDER COMPONENT)
  set(CATALOG_DIRECTORY "${PROJECT_BINARY_DIR}/share/qmfi/catalogs/${PROVIDER}")
  set(CATALOG_BUNDLES)
  foreach(LANGUAGE de root)
    set(OUTPUT "${CATALOG_DIRECTORY}/${LANGUAGE}.res")
    add_custom_command(
      OUTPUT "${OUTPUT}"
      COMMAND ${CMAKE_COMMAND} -E make_directory "${CATALOG_DIRECTORY}"
      COMMAND "${GENRB_PROGRAM}" --quiet --encoding UTF-8 --destdir "${CATALOG_DIRECTORY}"
              "${CMAKE_CURRENT_SOURCE_DIR}/${LANGUAGE}.txt"
      DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/${LANGUAGE}.txt"
      COMMENT "Compiling message catalog ${LANGUAGE} of ${PROVIDER}"
      VERBATIM)
    list(APPEND CATALOG_BUNDLES "${OUTPUT}")
  endforeach()
  add_custom_target("${PROVIDER}_catalogs" DEPENDS ${CATALOG_BUNDLES})
  add_dependencies(catalogs "${PROVIDER}_catalogs")
  install(FILES ${CATALOG_BUNDLES} DESTINATION "${CMAKE_INSTALL_DATADIR}/qmfi/catalogs/${PROVIDER}" COMPONENT "${COMPONENT}")
endfunction()
