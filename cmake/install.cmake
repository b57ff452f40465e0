# Installation: the public headers, the two static libraries with a CMake package (find_package(obx),
# target obx::obx) and a pkg-config file (obx.pc). The libraries are static, so their dependencies
# travel with them: the package finds them again, the .pc file requires them.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/obx DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS obx obx_platform EXPORT obxTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT obxTargets NAMESPACE obx:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/obx)

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/obxConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/obxConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/obx)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/obxConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/obxConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/obxConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/obx)

configure_file(${CMAKE_CURRENT_LIST_DIR}/obx.pc.in ${CMAKE_CURRENT_BINARY_DIR}/obx.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/obx.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
