# Libraries the platform layer is built on, found through pkg-config.
pkg_check_modules(OBX_DEPS REQUIRED IMPORTED_TARGET
  libcurl libzip libturbojpeg cairo pangocairo)
target_link_libraries(obx_platform PUBLIC PkgConfig::OBX_DEPS)
