# Installs the profiler like a desktop application: the two programs, a
# reverse-DNS desktop entry, the icon in the hicolor sizes and AppStream
# metainfo; CPack turns the same rules into a Debian package.
include(GNUInstallDirs)

set(ZELTO_APP_ID org.zelto.Profiler)

install(TARGETS zelto-profiler RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
if(TARGET zelto-target-sim)
    install(TARGETS zelto-target-sim RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
if(TARGET zelto-capture)
    install(TARGETS zelto-capture RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(FILES resources/desktop/${ZELTO_APP_ID}.desktop
        DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES resources/desktop/${ZELTO_APP_ID}.metainfo.xml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
foreach(size 16 32 48 64 128)
    install(FILES resources/icons/zelto-profiler-${size}.png
            DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/${size}x${size}/apps
            RENAME ${ZELTO_APP_ID}.png)
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zelto-profiler)
set(CPACK_PACKAGE_VENDOR "ZELTO Profiler developers")
set(CPACK_PACKAGE_CONTACT "ZELTO Profiler developers <profiler@zelto.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Live profiler for applications built on the ZELTO audio engine")
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
# Only Debian's own Qt 6 packages (and the C++ runtime they bring), and zstd
# for the capture files of zelto-capture.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libqt6core6 (>= 6.4), libqt6gui6 (>= 6.4), libqt6widgets6 (>= 6.4), libqt6network6 (>= 6.4), qt6-qpa-plugins, libzstd1")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
include(CPack)
