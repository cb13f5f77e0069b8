# `make package`: a Debian package of the monitor and lumenctl, with the desktop and autostart
# entries, the icon in the hicolor theme and the manual pages. Its dependencies are found by
# dpkg-shlibdeps from the binaries themselves.
include(GNUInstallDirs)
set(LUMEN_PACKAGING ${PROJECT_SOURCE_DIR}/packaging)
set(LUMEN_DOC ${CMAKE_INSTALL_DATADIR}/doc/lumen-monitor)

install(TARGETS lumen-monitor lumenctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${LUMEN_PACKAGING}/lumen-monitor.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
# Linked into /etc/xdg/autostart by the package's scripts, so that removing the package removes it.
install(FILES ${LUMEN_PACKAGING}/lumen-monitor-autostart.desktop
        DESTINATION ${CMAKE_INSTALL_DATADIR}/lumen-monitor)
install(FILES ${PROJECT_SOURCE_DIR}/resources/icons/Corvane_Portable.svg
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps RENAME lumen-monitor.svg)
install(FILES ${LUMEN_PACKAGING}/copyright DESTINATION ${LUMEN_DOC})

# Manual pages and the changelog, compressed as Debian wants them (no time stamp inside).
set(compressed)
foreach(source lumen-monitor.1 lumenctl.1 changelog)
  set(output ${CMAKE_BINARY_DIR}/packaging/${source}.gz)
  add_custom_command(OUTPUT ${output}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/packaging
    COMMAND gzip -9nc ${LUMEN_PACKAGING}/${source} > ${output}
    DEPENDS ${LUMEN_PACKAGING}/${source} VERBATIM)
  list(APPEND compressed ${output})
endforeach()
add_custom_target(lumen_package_files ALL DEPENDS ${compressed})
install(FILES ${CMAKE_BINARY_DIR}/packaging/lumen-monitor.1.gz ${CMAKE_BINARY_DIR}/packaging/lumenctl.1.gz
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${CMAKE_BINARY_DIR}/packaging/changelog.gz DESTINATION ${LUMEN_DOC})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME lumen-monitor)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "Lumen Monitor developers <lumen@corvane.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The icons are SVG: the image plugin is loaded, not linked.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libqt6svg6, dbus-user-session | dbus-x11")
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://www.corvane.example/lumen")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "tray monitor of the Lumen backup products
Lumen Monitor sits in the system tray beside the Corvane Lumen and Stelloa
Lumen backup engine. It shows the running job and its progress, the next
scheduled backup and the account's quota, tells the user when a job ends,
and offers the schedule list and editor, the preferences, the session logs,
the operation log viewer and an error-report form. lumenctl does the same
from the command line.")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${LUMEN_PACKAGING}/postinst ${LUMEN_PACKAGING}/postrm)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
