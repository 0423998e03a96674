# Run by `cmake --install`: the unit, the init script and their settings.
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(sysconfdir /etc)
else()
  set(sysconfdir ${CMAKE_INSTALL_PREFIX}/etc)
endif()
set(DAEMON ${CMAKE_INSTALL_PREFIX}/${KADREND_SBINDIR}/kadrend)
set(DEFAULTS ${sysconfdir}/default/kadrend)

configure_file(${KADREND_PACKAGING}/kadrend.service.in ${KADREND_WORK}/kadrend.service @ONLY)
file(INSTALL ${KADREND_WORK}/kadrend.service DESTINATION ${CMAKE_INSTALL_PREFIX}/lib/systemd/system)
if(KADREND_CONFINED)
  file(INSTALL ${KADREND_PACKAGING}/virtual-board.conf DESTINATION ${CMAKE_INSTALL_PREFIX}/lib/systemd/system/kadrend.service.d)
endif()
configure_file(${KADREND_PACKAGING}/kadrend.init.in ${KADREND_WORK}/kadrend @ONLY)
file(INSTALL ${KADREND_WORK}/kadrend DESTINATION ${sysconfdir}/init.d
  PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
file(INSTALL ${KADREND_PACKAGING}/kadrend.default DESTINATION ${sysconfdir}/default RENAME kadrend)
