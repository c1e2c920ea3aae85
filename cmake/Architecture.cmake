# Makes everything of this project build for VEX_ARCH and sets for it VEX_ARCH_FLAG, VEX_ARCH_DEFINITIONS and
# VEX_ARCH_FOLDER, Debian's name of the folder with its libraries.
include(CheckCXXSourceCompiles)

if(VEX_IS_TOP)
	set(VEX_ARCH "x86" CACHE STRING "Processor to build for: x86 (32 bit) or x86_64")
	set_property(CACHE VEX_ARCH PROPERTY STRINGS x86 x86_64)
elseif(NOT VEX_ARCH)
	# The parent's word size, whether a toolchain file, CMAKE_CXX_FLAGS or add_compile_options has chosen it.
	get_directory_property(options COMPILE_OPTIONS)
	list(FILTER options INCLUDE REGEX "^-m(32|64)$")
	list(JOIN options " " CMAKE_REQUIRED_FLAGS)
	check_cxx_source_compiles("static_assert(sizeof(void*) == 4, \"64 bit\");\nint main() { return 0; }"
		VEX_PARENT_IS_32_BIT)
	set(VEX_ARCH x86_64)
	if(VEX_PARENT_IS_32_BIT)
		set(VEX_ARCH x86)
	endif()
	unset(VEX_PARENT_IS_32_BIT CACHE)    # checked in every run: the flags may change
endif()

if(VEX_ARCH STREQUAL "x86")
	set(VEX_ARCH_FLAG -m32)
	# 32-bit seconds would end on 19 January 2038. Programs must agree with the library, so they get these too.
	set(VEX_ARCH_DEFINITIONS _TIME_BITS=64 _FILE_OFFSET_BITS=64)
	set(VEX_ARCH_FOLDER i386-linux-gnu)
	set(CMAKE_SIZEOF_VOID_P 4)
elseif(VEX_ARCH STREQUAL "x86_64")
	set(VEX_ARCH_FLAG -m64)
	set(VEX_ARCH_DEFINITIONS)
	set(VEX_ARCH_FOLDER x86_64-linux-gnu)
	set(CMAKE_SIZEOF_VOID_P 8)
else()
	message(FATAL_ERROR "VEX_ARCH is \"${VEX_ARCH}\": it must be x86 or x86_64.")
endif()

set(CMAKE_REQUIRED_FLAGS ${VEX_ARCH_FLAG})
check_cxx_source_compiles("#include <string>\nint main() { return int(std::string().size()); }"
	VEX_COMPILES_${VEX_ARCH})
unset(CMAKE_REQUIRED_FLAGS)
if(NOT VEX_COMPILES_${VEX_ARCH})
	unset(VEX_COMPILES_${VEX_ARCH} CACHE)    # looked at again once the packages are there
	message(FATAL_ERROR "The compiler cannot build for ${VEX_ARCH} (${VEX_ARCH_FLAG}). "
		"On 64-bit Debian the 32-bit libraries are in the package g++-multilib; -DVEX_ARCH=x86_64 builds for 64 bit.")
endif()

add_compile_options(${VEX_ARCH_FLAG})
add_link_options(${VEX_ARCH_FLAG})
