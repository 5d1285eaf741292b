# Sets the default build type: MinSizeRel in a cross build for a meter, otherwise Release. HAVE_IPO is true if
# the build type is MinSizeRel and the compiler and linker support interprocedural optimisation.
get_property(several_types GLOBAL PROPERTY GENERATOR_IS_MULTI_CONFIG)
if(NOT CMAKE_BUILD_TYPE AND NOT several_types)
    set(default_type Release)
    if(CMAKE_CROSSCOMPILING)
        set(default_type MinSizeRel)
    endif()
    set(CMAKE_BUILD_TYPE ${default_type} CACHE STRING "Build type" FORCE)
endif()

set(HAVE_IPO OFF)
if(CMAKE_BUILD_TYPE STREQUAL "MinSizeRel")
    include(CheckIPOSupported)
    check_ipo_supported(RESULT HAVE_IPO LANGUAGES CXX)
endif()
