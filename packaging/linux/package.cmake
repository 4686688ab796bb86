# The files of an installation, and the Debian package built by cpack.
include(GNUInstallDirs)
set(here ${CMAKE_CURRENT_LIST_DIR})
set(QUARN_MAINTAINER "The quarn developers <quarn@velmarch.example>" CACHE STRING
    "Maintainer named in the package")

# Debian requires compressed texts; gzip -n omits the time stamp, for reproducible packages.
function(quarn_gzip source target)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source})
  execute_process(COMMAND gzip -9nc ${source} OUTPUT_FILE ${CMAKE_CURRENT_BINARY_DIR}/${target}
                  COMMAND_ERROR_IS_FATAL ANY)
endfunction()
quarn_gzip(${here}/quarn.1 quarn.1.gz)
quarn_gzip(${here}/changelog changelog.gz)

set(share ${CMAKE_INSTALL_DATADIR})
install(TARGETS quarn DESTINATION bin COMPONENT quarn)
# the policy contains this absolute path
install(PROGRAMS ${here}/start ${here}/start-as-root DESTINATION libexec/quarn COMPONENT quarn)
install(FILES ${here}/com.velmarch.quarn.desktop DESTINATION ${share}/applications COMPONENT quarn)
install(FILES ${here}/com.velmarch.quarn.metainfo.xml DESTINATION ${share}/metainfo COMPONENT quarn)
install(FILES ${here}/com.velmarch.quarn.policy DESTINATION ${share}/polkit-1/actions
        COMPONENT quarn)
install(FILES ${here}/../quarn.svg DESTINATION ${share}/icons/hicolor/scalable/apps COMPONENT quarn)
foreach(size 16 32 48 128 256)
  install(FILES ${here}/../icons/quarn-${size}.png RENAME quarn.png
          DESTINATION ${share}/icons/hicolor/${size}x${size}/apps COMPONENT quarn)
endforeach()
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/quarn.1.gz DESTINATION ${share}/man/man1 COMPONENT quarn)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz ${here}/copyright
        DESTINATION ${share}/doc/quarn COMPONENT quarn)

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL quarn)
set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ
                                                GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PACKAGE_NAME quarn)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT ${QUARN_MAINTAINER})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "pkexec | policykit-1")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS qt6-wayland)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${here}/postrm)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "partition a hard disk around its bad sectors
A wizard that keeps a damaged hard disk usable: it finds where the bad
sectors lie, and lays partitions so that every bad stretch stays outside
them.
.
It works on the raw disk and writes a master boot sector and a chain of
extended boot records. All data on the chosen disk is lost.")
include(CPack)
