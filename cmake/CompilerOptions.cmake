# Language level, build type, warnings and sanitizers of everything in this project.
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)

if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
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
