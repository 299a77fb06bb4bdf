# "cpack -G DEB" (or RPM) in a build folder makes three packages there: kxtool, which is linked to nothing and installs
# anywhere; kxtool-vcard; kxtool-monitoring.
set(CPACK_PACKAGE_NAME kxtool)
set(CPACK_PACKAGE_VENDOR "kxtool")
set(CPACK_PACKAGE_CONTACT "The developers of kxtool <kxtool@packages.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL kxtool kxtool-vcard kxtool-monitoring)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/package_pages.cmake)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

# Below the line that the project has for all of them.
set(CPACK_COMPONENT_KXTOOL_DESCRIPTION
    "kxtool reads and changes the card: product data, firmware, registers,
tables, queues, links and modules. kxreport gives the same facts as text,
JSON, metrics and pages, and changes nothing.")
set(CPACK_COMPONENT_KXTOOL-VCARD_DESCRIPTION
    "This package has what takes the card's place: kxvcard runs a command with
a virtual card plugged in, also one that was saved in a bundle; kxpkg builds
and checks firmware packages; dpp_shell is the debug shell of the network
processor's driver.")
set(CPACK_COMPONENT_KXTOOL-MONITORING_DESCRIPTION
    "This package has what a fleet takes: alert rules and a dashboard for the
metrics of kxreport, and a role that brings the cards of all machines to one
firmware version.")

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS OFF)
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
endif()
set(CPACK_DEBIAN_KXTOOL_PACKAGE_NAME kxtool)
set(CPACK_DEBIAN_KXTOOL_PACKAGE_SUGGESTS "kxtool-vcard, kxtool-monitoring")
set(CPACK_DEBIAN_KXTOOL-VCARD_PACKAGE_NAME kxtool-vcard)
set(CPACK_DEBIAN_KXTOOL-VCARD_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_KXTOOL-VCARD_PACKAGE_RECOMMENDS kxtool)
set(CPACK_DEBIAN_KXTOOL-MONITORING_PACKAGE_NAME kxtool-monitoring)
set(CPACK_DEBIAN_KXTOOL-MONITORING_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_KXTOOL-MONITORING_PACKAGE_DEPENDS kxtool)
set(CPACK_DEBIAN_KXTOOL-MONITORING_PACKAGE_SUGGESTS "ansible-core, prometheus, prometheus-node-exporter")

set(CPACK_RPM_COMPONENT_INSTALL ON)
set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
set(CPACK_RPM_PACKAGE_LICENSE "the owner's to choose")
set(CPACK_RPM_MAIN_COMPONENT kxtool)
set(CPACK_RPM_KXTOOL_PACKAGE_AUTOREQ OFF)
set(CPACK_RPM_KXTOOL-VCARD_PACKAGE_NAME kxtool-vcard)
set(CPACK_RPM_KXTOOL-MONITORING_PACKAGE_NAME kxtool-monitoring)
set(CPACK_RPM_KXTOOL-MONITORING_PACKAGE_ARCHITECTURE noarch)
set(CPACK_RPM_KXTOOL-MONITORING_PACKAGE_REQUIRES kxtool)
# Folders that the distribution's own packages have.
set(CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION
    /usr/lib/systemd /usr/lib/systemd/system /usr/sbin /usr/share/man /usr/share/man/man1 /usr/share/man/man7
    /usr/share/bash-completion /usr/share/bash-completion/completions /usr/share/zsh /usr/share/zsh/site-functions)

foreach(component ${CPACK_COMPONENTS_ALL})
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/copyright ${PROJECT_SOURCE_DIR}/packaging/changelog
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${component} COMPONENT ${component})
endforeach()
# It carries its libraries along on purpose.
install(FILES ${PROJECT_SOURCE_DIR}/packaging/lintian DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides
        RENAME kxtool)
include(CPack)
