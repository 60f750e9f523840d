# Installing: the program, its menu entry, icon, software-centre entry and manual page, and an
# entry that starts it at login, in their XDG places. Autostart entries are looked for in
# /etc/xdg whatever the prefix.
include(GNUInstallDirs)
set(VERRABEL_AUTOSTART_DIR /etc/xdg/autostart CACHE PATH
    "Where the entry that starts Verrabel at login is installed")
install(TARGETS verrabel RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES resources/org.verrabel.Verrabel.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES resources/org.verrabel.Verrabel.metainfo.xml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
install(FILES resources/icons/verrabel.svg
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
install(FILES resources/verrabel-autostart.desktop
        DESTINATION ${VERRABEL_AUTOSTART_DIR} RENAME verrabel.desktop)
# The companion GNOME Shell extension, for every user; GNOME loads it once enabled. Its own
# component, so that a scenario can install it alone.
install(FILES gnome-extension/metadata.json gnome-extension/extension.js gnome-extension/edge.js
              gnome-extension/indicator.js gnome-extension/service.js resources/icons/verrabel.svg
        DESTINATION ${CMAKE_INSTALL_DATADIR}/gnome-shell/extensions/verrabel@verrabel.org
        COMPONENT gnome_extension)

# Debian keeps manual pages and changelogs compressed the reproducible way: at most, and
# without a name or time in the header.
set(VERRABEL_PACKAGING_OUT ${CMAKE_BINARY_DIR}/packaging)
set(VERRABEL_COMPRESSED)
foreach(source resources/verrabel.1 packaging/changelog)
  get_filename_component(name ${source} NAME)
  set(compressed ${VERRABEL_PACKAGING_OUT}/${name}.gz)
  add_custom_command(OUTPUT ${compressed}
                     COMMAND ${CMAKE_COMMAND} -E make_directory ${VERRABEL_PACKAGING_OUT}
                     COMMAND gzip -9n -c ${CMAKE_SOURCE_DIR}/${source} > ${compressed}
                     DEPENDS ${source} VERBATIM)
  list(APPEND VERRABEL_COMPRESSED ${compressed})
endforeach()
add_custom_target(verrabel_compressed_docs ALL DEPENDS ${VERRABEL_COMPRESSED})
install(FILES ${VERRABEL_PACKAGING_OUT}/verrabel.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${VERRABEL_PACKAGING_OUT}/changelog.gz packaging/copyright
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/verrabel)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME verrabel)
set(CPACK_PACKAGE_VENDOR Verrabel)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "Desktop folder on a shelf under the top centre of the screen")
# Debian wants the long description in lines of at most 80 characters.
string(JOIN "\n" CPACK_PACKAGE_DESCRIPTION
       "Verrabel keeps a shelf hidden under the top centre of the screen. Move the"
       "pointer there and it drops down with the files on your Desktop, kept up to"
       "date."
       ""
       "Drop files on it to save them on the Desktop without ever overwriting"
       "anything, also entries of archive managers and files of sandboxed"
       "applications; drag rows out of it to copy them elsewhere. It runs in X11"
       "sessions and in Wayland ones (GNOME, KDE Plasma, sway, labwc).")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Verrabel developers <developers@verrabel.invalid>")
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The icons are SVG, drawn by Qt's SVG plugins: part of libqt6svg6 in Debian 12, a package of
# their own from Debian 13 on, which nothing pulls in without recommends.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-svg-plugins | libqt6svg6 (<< 6.7)")
# Natively on Wayland it needs Qt's Wayland platform, a package of its own, and KWin's screen
# edges reach Qt's private Wayland window: the Qt it was built with, to the patch release.
if(VERRABEL_HAS_LAYER_SHELL)
  string(APPEND CPACK_DEBIAN_PACKAGE_DEPENDS
         ", qt6-wayland, qt6-base-private-abi (= ${Qt6_VERSION})")
endif()
# WebP photos get thumbnails through Qt's image-formats plugins.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS
    "fonts-wqy-microhei | fonts-noto-cjk, adwaita-icon-theme, qt6-translations-l10n, xdg-utils, qt6-image-formats-plugins")
# A user's edit of the autostart entry (Hidden=true, another Exec=) survives upgrades.
if(VERRABEL_AUTOSTART_DIR MATCHES "^/etc/")
  file(WRITE ${VERRABEL_PACKAGING_OUT}/conffiles "${VERRABEL_AUTOSTART_DIR}/verrabel.desktop\n")
  set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${VERRABEL_PACKAGING_OUT}/conffiles)
  set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
endif()
include(CPack)
