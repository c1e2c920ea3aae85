# Installs the library, its public headers, a CMake package (find_package(VexCommon)) and a pkg-config file.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(VEX_INSTALL_HEADERS "${CMAKE_INSTALL_INCLUDEDIR}/VexCommon")
set(VEX_INSTALL_PACKAGE "${CMAKE_INSTALL_LIBDIR}/cmake/VexCommon")

install(TARGETS VexCommon
	EXPORT VexCommonTargets
	LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
	FILE_SET HEADERS DESTINATION "${VEX_INSTALL_HEADERS}")
install(EXPORT VexCommonTargets NAMESPACE VexCommon:: FILE VexCommonConfig.cmake DESTINATION "${VEX_INSTALL_PACKAGE}")

write_basic_package_version_file("${PROJECT_BINARY_DIR}/VexCommonConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/VexCommonConfigVersion.cmake" DESTINATION "${VEX_INSTALL_PACKAGE}")

set(VEX_PKGCONFIG_CFLAGS ${VEX_ARCH_DEFINITIONS})
list(TRANSFORM VEX_PKGCONFIG_CFLAGS PREPEND "-D")
list(JOIN VEX_PKGCONFIG_CFLAGS " " VEX_PKGCONFIG_CFLAGS)
file(RELATIVE_PATH VEX_PKGCONFIG_TO_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file(cmake/VexCommon.pc.in VexCommon.pc @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/VexCommon.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
