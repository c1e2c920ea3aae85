# Sets VEX_ARCH_FLAG and VEX_ARCH_DEFINITIONS for VEX_ARCH and makes everything of this project build for it.
if(VEX_ARCH STREQUAL "x86")
	set(VEX_ARCH_FLAG -m32)
	# 32-bit seconds would end on 19 January 2038. Programs must agree with the library, so they get these too.
	set(VEX_ARCH_DEFINITIONS _TIME_BITS=64 _FILE_OFFSET_BITS=64)
	set(CMAKE_SIZEOF_VOID_P 4)
elseif(VEX_ARCH STREQUAL "x86_64")
	set(VEX_ARCH_FLAG -m64)
	set(VEX_ARCH_DEFINITIONS)
	set(CMAKE_SIZEOF_VOID_P 8)
else()
	message(FATAL_ERROR "VEX_ARCH is \"${VEX_ARCH}\": it must be x86 or x86_64.")
endif()

include(CheckCXXSourceCompiles)
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
