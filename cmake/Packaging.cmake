# SPDX-FileCopyrightText: 2026 The OndraVexa authors
# SPDX-License-Identifier: BSD-3-Clause

set(CPACK_PACKAGE_NAME geoclue-ondravexa)
set(CPACK_PACKAGE_VENDOR "The OndraVexa authors")
set(CPACK_PACKAGE_CONTACT "The OndraVexa authors <maintainers@ondravexa.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "network location provider for the Geoclue framework")
set(CPACK_PACKAGE_DESCRIPTION
"OndraVexa finds out where a phone is without satellite reception: it sends the
mobile cells and WLAN access points in view to a geolocation web service and
publishes the position on the system bus. The bus starts it when a client asks
for a position, and it ends when nobody needs it.
.
This package holds the daemon and ondravexactl, a client for the command line.")
# What is installed names its own places, so a package cannot have another prefix than the build.
set(CPACK_PACKAGING_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_GENERATOR DEB RPM)

set(package_dir "${CMAKE_CURRENT_BINARY_DIR}/package")
foreach(name deb/postinst deb/prerm deb/postrm rpm/post rpm/preun rpm/postun)
    configure_file("${CMAKE_CURRENT_LIST_DIR}/package/${name}.in" "${package_dir}/${name}" @ONLY)
endforeach()

# The two documents that a Debian package must have.
file(READ "${PROJECT_SOURCE_DIR}/LICENSE" license)
string(REGEX REPLACE "^BSD[^\n]*\n\nCopyright[^\n]*\n\n" "" license "${license}")
string(STRIP "${license}" license)
string(REPLACE "\n\n" "\n.\n" license "${license}")
string(REPLACE "\n" "\n " license "${license}")
configure_file("${CMAKE_CURRENT_LIST_DIR}/package/copyright.in" "${package_dir}/copyright" @ONLY)
add_custom_command(OUTPUT "${package_dir}/changelog.gz"
    COMMAND gzip -9cn "${CMAKE_CURRENT_LIST_DIR}/package/changelog" > "${package_dir}/changelog.gz"
    DEPENDS "${CMAKE_CURRENT_LIST_DIR}/package/changelog" VERBATIM)
add_custom_target(ondravexa-changelog ALL DEPENDS "${package_dir}/changelog.gz")
install(FILES "${package_dir}/copyright" "${package_dir}/changelog.gz"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/geoclue-ondravexa")

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS
    "ca-certificates, default-dbus-system-bus | dbus-system-bus, systemd | systemd-sysusers, systemd | systemd-tmpfiles")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    "${package_dir}/deb/postinst;${package_dir}/deb/prerm;${package_dir}/deb/postrm")

set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
set(CPACK_RPM_PACKAGE_RELOCATABLE OFF)
set(CPACK_RPM_PACKAGE_LICENSE BSD-3-Clause)
set(CPACK_RPM_PACKAGE_SUMMARY "${CPACK_PACKAGE_DESCRIPTION_SUMMARY}")
string(REPLACE "\n.\n" "\n\n" CPACK_RPM_PACKAGE_DESCRIPTION "${CPACK_PACKAGE_DESCRIPTION}")
set(CPACK_RPM_PACKAGE_REQUIRES "ca-certificates, dbus, systemd")
set(CPACK_RPM_POST_INSTALL_SCRIPT_FILE "${package_dir}/rpm/post")
set(CPACK_RPM_PRE_UNINSTALL_SCRIPT_FILE "${package_dir}/rpm/preun")
set(CPACK_RPM_POST_UNINSTALL_SCRIPT_FILE "${package_dir}/rpm/postun")
# Directories of the system, which other packages own.
set(CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION)
foreach(directory
        "" /bin /libexec /lib /lib/systemd /lib/systemd/system /lib/sysusers.d /lib/tmpfiles.d
        /share /share/dbus-1 /share/dbus-1/system.d /share/dbus-1/system-services
        /share/doc /share/man /share/man/man1 /share/man/man5 /share/man/man8)
    list(APPEND CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION
        "${CMAKE_INSTALL_PREFIX}${directory}")
endforeach()

include(CPack)
