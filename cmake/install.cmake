# Installation: the public headers; the static library of each layer and libobx.so with its SONAME
# link; a CMake package (find_package(obx)) with obx::obx, the static SDK (C++ and C API), and
# obx::shared, libobx.so (C API); pkg-config files obx.pc for libobx.so and obx-static.pc for the
# static libraries. Static libraries bring no dependencies of their own: the package finds them
# again and obx-static.pc requires them. libobx.so records its own.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/obx DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# A host builds its screens with the platform layer's views, so their headers ship too.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/src/platform DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h")
get_property(OBX_LAYER_TARGETS GLOBAL PROPERTY OBX_LAYER_TARGETS)
set(OBX_INSTALLED_TARGETS obx ${OBX_LAYER_TARGETS})
if(TARGET obx_shared)
  list(APPEND OBX_INSTALLED_TARGETS obx_shared)
endif()
# The Qt adapter, obx::qt, with obx-qt.pc beside obx-static.pc.
if(TARGET obx_qt)
  list(APPEND OBX_INSTALLED_TARGETS obx_qt)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/obx-qt.pc.in ${CMAKE_CURRENT_BINARY_DIR}/obx-qt.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/obx-qt.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endif()
install(TARGETS ${OBX_INSTALLED_TARGETS} EXPORT obxTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT obxTargets NAMESPACE obx:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/obx)

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/obxConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/obxConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/obx)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/obxConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/obxConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/obxConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/obx)

# A static link names the libraries top layer first, so each finds what it uses in the ones after it.
set(OBX_PC_LIBS "")
foreach(target ${OBX_LAYER_TARGETS})
  set(OBX_PC_LIBS "-l${target} ${OBX_PC_LIBS}")
endforeach()
string(STRIP "${OBX_PC_LIBS}" OBX_PC_LIBS)
configure_file(${CMAKE_CURRENT_LIST_DIR}/obx-static.pc.in ${CMAKE_CURRENT_BINARY_DIR}/obx-static.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/obx-static.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(TARGET obx_shared)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/obx.pc.in ${CMAKE_CURRENT_BINARY_DIR}/obx.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/obx.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endif()
