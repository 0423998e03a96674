# Run by CPack on what it is about to pack: Debian's places and forms of the changelog, the licence and the manuals.
set(share ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr/share)
set(documents ${share}/doc/kadrend)
file(RENAME ${documents}/LICENSE ${documents}/copyright)
configure_file(${CMAKE_CURRENT_LIST_DIR}/../packaging/changelog.in ${documents}/changelog @ONLY)
file(GLOB manuals ${share}/man/man*/*)
execute_process(COMMAND gzip -9n ${documents}/changelog ${manuals} COMMAND_ERROR_IS_FATAL ANY)
configure_file(${CMAKE_CURRENT_LIST_DIR}/../packaging/lintian-overrides ${share}/lintian/overrides/kadrend COPYONLY)
