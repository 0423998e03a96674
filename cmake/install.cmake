# What `cmake --install` puts where.
include(GNUInstallDirs)

install(TARGETS kadrend RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR})
if(TARGET kadctl)
  install(TARGETS kadctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES tools/kadctl/completion/kadctl DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
endif()

install(FILES README.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs PATTERN man EXCLUDE)
foreach(section 1 8)
  file(GLOB pages CONFIGURE_DEPENDS docs/man/*.${section})
  install(FILES ${pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section})
endforeach()

# The service files name paths below the prefix that the installation is made with, which may not be the configured one.
if(KADREND_PLATFORM STREQUAL "virtual")
  install(CODE "set(KADREND_CONFINED TRUE)")
endif()
install(CODE "set(KADREND_SBINDIR \"${CMAKE_INSTALL_SBINDIR}\")
set(KADREND_PACKAGING \"${CMAKE_CURRENT_SOURCE_DIR}/packaging\")
set(KADREND_WORK \"${CMAKE_CURRENT_BINARY_DIR}/packaging\")")
install(SCRIPT cmake/install_service.cmake)
