# Where everything is installed.

# qmfi looks for providers and texts below /usr, and for its settings in /etc/qmfi.
if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT)
  set(CMAKE_INSTALL_PREFIX /usr CACHE PATH "Below it everything is installed" FORCE)
endif()
include(GNUInstallDirs)
# Not the directory of the machine's kind: the host has one name for it.
set(QMFI_PROVIDER_DIRECTORY lib/qmfi/providers)
