# What is installed: the two libraries, their headers, the program and its manual page, a CMake package and
# a pkg-config file.
include(CMakePackageConfigHelpers)
install(TARGETS zu_tovra zu_platform EXPORT zu_tovra_targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(TARGET tovra)
  install(TARGETS tovra RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES docs/tovra.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endif()
install(DIRECTORY include/zu_tovra DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h" PATTERN "internal" EXCLUDE)
install(DIRECTORY platform/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zu_platform
  FILES_MATCHING PATTERN "*.h")
install(EXPORT zu_tovra_targets NAMESPACE zu_tovra:: FILE zu_tovra-config.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zu_tovra)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/zu_tovra-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/zu_tovra-config-version.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zu_tovra)
configure_file(${CMAKE_CURRENT_LIST_DIR}/zu_tovra.pc.in ${CMAKE_BINARY_DIR}/zu_tovra.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/zu_tovra.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
