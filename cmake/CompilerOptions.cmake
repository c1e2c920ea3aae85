# Language level, build type, warnings and sanitizers of everything in this project.
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
# A parent project may hide symbols or merge sources by default; this library bears neither.
set(CMAKE_CXX_VISIBILITY_PRESET default)
set(CMAKE_VISIBILITY_INLINES_HIDDEN OFF)
set(CMAKE_UNITY_BUILD OFF)

if(VEX_IS_TOP AND NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
	set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Debug, Release or RelWithDebInfo" FORCE)
endif()

add_compile_options(-Wall -Wextra -Wshadow -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual)
if(VEX_WERROR)
	add_compile_options(-Werror)
endif()

if(VEX_SANITIZE)
	# More optimisation makes compiling several times as long and finds nothing more.
	add_compile_options(-fsanitize=${VEX_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -Og -g1)
	add_link_options(-fsanitize=${VEX_SANITIZE})
endif()
