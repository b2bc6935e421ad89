# What the providers of this tree have in common.
set(QMFI_PDK_INCLUDE_DIRECTORY "${PROJECT_SOURCE_DIR}/pdk/include")

# qmfi_install_provider(NAME COMPONENT): the provider's library and its descriptor.
function(qmfi_install_provider NAME COMPONENT)
  install(TARGETS "${NAME}" LIBRARY DESTINATION "${QMFI_PROVIDER_DIRECTORY}" COMPONENT "${COMPONENT}")
  install(FILES "${NAME}.provider" DESTINATION "${QMFI_PROVIDER_DIRECTORY}" COMPONENT "${COMPONENT}")
endfunction()

add_custom_target(catalogs ALL)

# qmfi_add_catalogs(NAME COMPONENT): the message catalogs made from the texts in the folder where this is called. They are installed
# with that component.
function(qmfi_add_catalogs NAME COMPONENT)
  qmfi_add_provider_catalogs("${NAME}" "${CMAKE_CURRENT_SOURCE_DIR}" "${PROJECT_BINARY_DIR}/share/qmfi/catalogs")
  add_dependencies(catalogs "${NAME}_catalogs")
  install(FILES ${${NAME}_CATALOGS} DESTINATION "${CMAKE_INSTALL_DATADIR}/qmfi/catalogs/${NAME}" COMPONENT "${COMPONENT}")
endfunction()
