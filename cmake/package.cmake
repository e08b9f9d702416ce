# `cpack -G DEB` in a build folder packs what is installed: both programs, the database of PCI names,
# manuals, completions and the descriptions of the formats. The release preset gives the package that
# needs no library but the C one.
set(KESTREL_MAINTAINER "The Kestrel developers <kestrel@packages.invalid>" CACHE STRING
    "Who answers for the package: Name <mail address>")

# Manuals and the change log are packed; without a time stamp, so that two builds give the same bytes.
find_program(KESTREL_GZIP gzip REQUIRED)
string(TIMESTAMP KESTREL_CHANGE_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(cmake/changelog.in ${CMAKE_BINARY_DIR}/package/changelog @ONLY)
set(packed)
function(kestrel_install_packed source destination)
  get_filename_component(name ${source} NAME)
  set(target ${CMAKE_BINARY_DIR}/package/${name}.gz)
  add_custom_command(OUTPUT ${target} COMMAND ${KESTREL_GZIP} -9 -n -c ${source} > ${target}
                     DEPENDS ${source} VERBATIM)
  set(packed ${packed} ${target} PARENT_SCOPE)
  install(FILES ${target} DESTINATION ${destination})
endfunction()
kestrel_install_packed(${CMAKE_SOURCE_DIR}/docs/man/kestrel.1 ${CMAKE_INSTALL_MANDIR}/man1)
kestrel_install_packed(${CMAKE_SOURCE_DIR}/docs/man/ks2.1 ${CMAKE_INSTALL_MANDIR}/man1)
kestrel_install_packed(${CMAKE_BINARY_DIR}/package/changelog ${CMAKE_INSTALL_DOCDIR})
add_custom_target(packed_documents ALL DEPENDS ${packed})

install(FILES completions/kestrel.bash RENAME kestrel
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES completions/ks2.bash RENAME ks2
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES docs/gather-file.md docs/ksml.md docs/ksml.xsd README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES LICENSE RENAME copyright DESTINATION ${CMAKE_INSTALL_DOCDIR})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT ${KESTREL_MAINTAINER})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "support snapshot of a Linux machine, and its reader")
set(CPACK_PACKAGE_DESCRIPTION
"kestrel inspects hardware, firmware and operating system of the machine it runs
on and leaves one gather file, to be sent to whoever looks into a problem. ks2
lists, checks, unpacks and shows such files.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ
    GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "bash-completion")
include(CPack)
