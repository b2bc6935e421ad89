# What packages for rpm have beside the others. Which libraries they need, rpm finds by itself.
set(QMFI_LICENSE "not chosen yet" CACHE STRING "The licence by its short name: the owner's choice")

set(CPACK_RPM_COMPONENT_INSTALL ON)
set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
set(CPACK_RPM_PACKAGE_LICENSE "${QMFI_LICENSE}")
set(CPACK_RPM_PACKAGE_RELEASE 1)
set(CPACK_RPM_RELEASE_DIST OFF)
set(CPACK_RPM_COMPRESSION_TYPE xz)
# Directories of the system are its own.
set(CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION /usr/lib/systemd /usr/lib/systemd/system /usr/share/bash-completion
    /usr/share/bash-completion/completions /usr/share/fish /usr/share/fish/vendor_completions.d /usr/share/zsh
    /usr/share/man /usr/share/man/man5 /usr/share/man/man7 /usr/share/man/man8 /usr/share/zsh/site-functions
    "/usr/${CMAKE_INSTALL_LIBDIR}" "/usr/${CMAKE_INSTALL_LIBDIR}/cmake" "/usr/${CMAKE_INSTALL_LIBDIR}/pkgconfig")
# The same bytes when they are made again: with the date of the sources, and without the name of the machine.
set(CPACK_RPM_SPEC_MORE_DEFINE "%define use_source_date_epoch_as_buildtime 1
%define clamp_mtime_to_source_date_epoch 1
%define _buildhost localhost
%define packager ${QMFI_MAINTAINER}
%define _build_id_links none")

set(CPACK_RPM_RUNTIME_PACKAGE_NAME libqmfi-pdk4)
set(CPACK_RPM_RUNTIME_PACKAGE_GROUP System/Libraries)
set(CPACK_RPM_HOST_PACKAGE_NAME qmfi)
set(CPACK_RPM_HOST_PACKAGE_REQUIRES "libqmfi-pdk4 = ${PROJECT_VERSION}")
set(CPACK_RPM_HOST_PACKAGE_SUGGESTS "qmfi-provider-linuxfs, rsync, lvm2")
set(CPACK_RPM_PROVIDER-QMFS_PACKAGE_NAME qmfi-provider-qmfs)
set(CPACK_RPM_PROVIDER-QMFS_PACKAGE_REQUIRES "libqmfi-pdk4 = ${PROJECT_VERSION}")
set(CPACK_RPM_PROVIDER-LINUXFS_PACKAGE_NAME qmfi-provider-linuxfs)
set(CPACK_RPM_PROVIDER-LINUXFS_PACKAGE_REQUIRES "libqmfi-pdk4 = ${PROJECT_VERSION}, (xfsprogs or e2fsprogs)")
set(CPACK_RPM_SDK_PACKAGE_NAME qmfi-devel)
set(CPACK_RPM_SDK_PACKAGE_GROUP Development/Libraries)
set(CPACK_RPM_SDK_PACKAGE_REQUIRES "libqmfi-pdk4 = ${PROJECT_VERSION}, ace-devel, libicu-devel")
set(CPACK_RPM_DOCS_PACKAGE_NAME qmfi-doc)
set(CPACK_RPM_DOCS_PACKAGE_ARCHITECTURE noarch)
