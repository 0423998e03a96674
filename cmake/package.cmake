# The Debian package: `cpack -G DEB`, or scripts/package, which also builds what goes into it.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kadrend)
set(CPACK_PACKAGE_CONTACT "The kadrend authors <authors@kadrend.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "sending-card daemon of an LED-wall video controller")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "kadrend answers to the register map of a sending card: it keeps the state
of the device in FPGA registers and SPI flash, lays a wall of receiving cards
out over the output ports, and watches over brightness, colour, inputs and
links.

This package serves a virtual board, a directory that stands in for the
hardware, and brings kadctl, the command-line client.")
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION misc)
if(CMAKE_CROSSCOMPILING)  # a cross compiler's libraries belong to packages that no board has: Debian 12's own instead
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6 (>= 2.36), libgcc-s1 (>= 3.5), libstdc++6 (>= 12)")
else()
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
endif()
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA)
foreach(file conffiles postinst prerm postrm)
  list(APPEND CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_SOURCE_DIR}/packaging/${file})
endforeach()
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/cmake/package_stage.cmake)
# Programs are packed as they are; whoever packs builds them first, and not the tests with them.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
include(CPack)
