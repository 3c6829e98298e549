# What is installed: the two libraries, their headers, the program with its manual page, guides and completion,
# a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)
install(TARGETS zu_tovra zu_platform EXPORT zu_tovra_targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(TARGET tovra)
  install(TARGETS tovra RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES docs/tovra.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(FILES completions/tovra.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    RENAME tovra)
  install(FILES completions/_tovra DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
  install(FILES completions/tovra.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
endif()
install(DIRECTORY include/zu_tovra DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h" PATTERN "render.hpp" PATTERN "internal" EXCLUDE)
install(DIRECTORY platform/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zu_platform
  FILES_MATCHING PATTERN "*.h")
install(DIRECTORY editors DESTINATION ${CMAKE_INSTALL_DATADIR}/tovra)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/tovra FILES_MATCHING PATTERN "*.md"
  PATTERN "*.png")
install(FILES CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/tovra)
install(EXPORT zu_tovra_targets NAMESPACE zu_tovra:: FILE zu_tovra-config.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zu_tovra)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/zu_tovra-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/zu_tovra-config-version.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zu_tovra)
# The .pc file finds the prefix relative to itself, so that an installation may be moved.
file(RELATIVE_PATH pkgconfig_to_prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" pkgconfig_to_prefix ${pkgconfig_to_prefix})
configure_file(${CMAKE_CURRENT_LIST_DIR}/zu_tovra.pc.in ${CMAKE_BINARY_DIR}/zu_tovra.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/zu_tovra.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# A Debian package of all of it: cpack -G DEB in the build folder.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tovra)
set(CPACK_PACKAGE_CONTACT "The developers of libzu_tovra <tovra@example.net>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "configuration records of a network device as CLI text")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION " The library libzu_tovra, its headers, the platform that comes with it, and the program tovra, which\n renders, checks and shows templates.")
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON) # find the packages on which it depends
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
include(CPack)
