# Installs the library with its link for -lVexCommon, the public headers, a CMake package (find_package(VexCommon)), a
# pkg-config file and the examples. All of it can be moved. 32 and 64 bit can share a prefix.
include(CMakePackageConfigHelpers)

# Debian's folder, whatever the prefix: GNUInstallDirs uses it below /usr only, and there the 64-bit one for 32 bit too.
# Not cached, or GNUInstallDirs would change it with the prefix.
if(VEX_IS_TOP AND NOT DEFINED CMAKE_INSTALL_LIBDIR AND EXISTS "/etc/debian_version")
	set(CMAKE_INSTALL_LIBDIR "lib/${VEX_ARCH_FOLDER}")
endif()
include(GNUInstallDirs)

set(VEX_INSTALL_HEADERS "${CMAKE_INSTALL_INCLUDEDIR}/vexcommon")
# find_package searches all folders lib/cmake/VexCommon* and takes the one whose version file names its word size. It
# does not search lib/i386-linux-gnu for a program that is built with -m32.
set(VEX_INSTALL_PACKAGE "lib/cmake/VexCommon-${VEX_ARCH}")

# The headers are not a file set: CMake before 3.23 takes no include path from one.
install(TARGETS VexCommon
	EXPORT VexCommon
	LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT VexCommonRuntime
	INCLUDES DESTINATION "${VEX_INSTALL_HEADERS}")

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME VexCommonDevelopment)
file(CREATE_LINK "libVexCommon-${PROJECT_VERSION}.so" "${PROJECT_BINARY_DIR}/libVexCommon.so" SYMBOLIC)
install(FILES "${PROJECT_BINARY_DIR}/libVexCommon.so" DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(FILES ${VEX_PUBLIC_HEADERS} DESTINATION "${VEX_INSTALL_HEADERS}")

install(EXPORT VexCommon NAMESPACE VexCommon:: FILE VexCommonConfig.cmake DESTINATION "${VEX_INSTALL_PACKAGE}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/VexCommonConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/VexCommonConfigVersion.cmake" DESTINATION "${VEX_INSTALL_PACKAGE}")

set(VEX_PKGCONFIG_CFLAGS ${VEX_ARCH_DEFINITIONS})
list(TRANSFORM VEX_PKGCONFIG_CFLAGS PREPEND "-D")
list(JOIN VEX_PKGCONFIG_CFLAGS " " VEX_PKGCONFIG_CFLAGS)
set(VEX_INSTALL_PKGCONFIG "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig")
file(RELATIVE_PATH VEX_PKGCONFIG_TO_PREFIX "${VEX_INSTALL_PKGCONFIG}" "${CMAKE_INSTALL_PREFIX}")
file(RELATIVE_PATH VEX_PKGCONFIG_TO_INCLUDE "${VEX_INSTALL_PKGCONFIG}" "${CMAKE_INSTALL_FULL_INCLUDEDIR}")
configure_file(cmake/VexCommon.pc.in VexCommon.pc @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/VexCommon.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

if(VEX_IS_TOP)
	install(DIRECTORY examples DESTINATION "${CMAKE_INSTALL_DOCDIR}"
		FILES_MATCHING PATTERN "*.cpp" PATTERN "CMakeLists.txt")
endif()
