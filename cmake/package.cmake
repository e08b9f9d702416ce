# `cpack -G DEB` in a build folder packs what is installed: both programs, the database of PCI names,
# manuals, completions and the descriptions of the formats. The release preset gives the package that
# needs no library but the C one.
install(FILES completions/kestrel.bash RENAME kestrel
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES completions/ks2.bash RENAME ks2
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES docs/gather-file.md docs/ksml.md docs/ksml.xsd README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES LICENSE RENAME copyright DESTINATION ${CMAKE_INSTALL_DOCDIR})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "The Kestrel developers <kestrel@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "support snapshot of a Linux machine, and its reader")
set(CPACK_PACKAGE_DESCRIPTION
"kestrel inspects hardware, firmware and operating system of the machine it runs
on and leaves one gather file, to be sent to whoever looks into a problem. ks2
lists, checks, unpacks and shows such files.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "bash-completion")
include(CPack)
