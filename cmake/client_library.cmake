# Defines the target `client_library`, the client library of the store (libcds and libcds++). The first of
# these choices that is given determines the library:
#
# CDS_ROOT         the directory of an installed library. It contains include/, lib/libcds.so and
#                  lib/libcds++.so. For a static program, it contains lib/libcds.a and lib/libcds++.a
# SIMULATED_METER  the simulated client library, which also replaces `system` and `sleep`. With this option,
#                  the tools of the simulated meter and the tests are built too. The presets set the option
# pkg-config       the package `cds` that pkg-config finds
#
# ON_SIMULATED_METER is true if the simulated client library is used.
set(CDS_ROOT "" CACHE PATH "Directory of the meter's client library")
option(SIMULATED_METER "Build the simulated meter and link its client library, unless CDS_ROOT is given" OFF)

add_library(client_library INTERFACE)
set(ON_SIMULATED_METER OFF)

# Links only the libraries in CDS_ROOT, never libraries with the same names in other directories.
function(use_installed_library)
    if(NOT IS_ABSOLUTE ${CDS_ROOT})
        message(FATAL_ERROR "CDS_ROOT must be an absolute path: ${CDS_ROOT}")
    endif()
    if(STATIC_PROGRAMS)
        set(CMAKE_FIND_LIBRARY_SUFFIXES .a)
    endif()
    foreach(name IN ITEMS cds++ cds)
        unset(found CACHE) # the cached path may be from an earlier CDS_ROOT
        find_library(found ${name} PATHS ${CDS_ROOT}/lib NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
        if(NOT found)
            message(FATAL_ERROR "CDS_ROOT has no library ${name} of a suitable kind"
                " (${CMAKE_FIND_LIBRARY_SUFFIXES}): ${CDS_ROOT}/lib")
        endif()
        target_link_libraries(client_library INTERFACE ${found})
    endforeach()
    unset(found CACHE)
    target_include_directories(client_library SYSTEM INTERFACE ${CDS_ROOT}/include)
endfunction()

# A host program contains the simulated library, so the program starts fast. A meter program loads the
# simulated library as a shared library, so the same binary can also load the meter's own library.
macro(use_simulated_library)
    set(ON_SIMULATED_METER ON)
    include(cmake/header_only.cmake)
    add_subdirectory(simulator)
    if(CMAKE_CROSSCOMPILING AND NOT STATIC_PROGRAMS)
        target_link_libraries(client_library INTERFACE cds++_shared cds_shared)
    else()
        target_link_libraries(client_library INTERFACE cds++ cds)
    endif()
endmacro()

# Sets CDS_FOUND if pkg-config finds the package `cds`. pkg-config searches PKG_CONFIG_LIBDIR, or else the
# sysroot. A cross build that has neither does not run pkg-config, which would find packages of the host.
macro(find_packaged_library)
    if(CMAKE_SYSROOT AND NOT DEFINED ENV{PKG_CONFIG_LIBDIR})
        set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})
        set(ENV{PKG_CONFIG_LIBDIR} ${CMAKE_SYSROOT}/usr/lib/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig)
    endif()
    if(NOT CMAKE_CROSSCOMPILING OR DEFINED ENV{PKG_CONFIG_LIBDIR})
        find_package(PkgConfig QUIET)
        if(PKG_CONFIG_FOUND)
            pkg_check_modules(CDS QUIET cds)
        endif()
    endif()
endmacro()

function(use_packaged_library)
    set(kind CDS)
    if(STATIC_PROGRAMS)
        set(kind CDS_STATIC)
    endif()
    target_include_directories(client_library SYSTEM INTERFACE ${${kind}_INCLUDE_DIRS})
    target_compile_options(client_library INTERFACE ${${kind}_CFLAGS_OTHER})
    target_link_libraries(client_library INTERFACE ${${kind}_LDFLAGS})
    message(STATUS "The client library: package cds ${CDS_VERSION} in ${CDS_LIBDIR}")
endfunction()

if(CDS_ROOT)
    use_installed_library()
elseif(SIMULATED_METER)
    use_simulated_library()
else()
    find_packaged_library()
    if(NOT CDS_FOUND)
        message(FATAL_ERROR "No client library is given. Give one of these:\n"
            "  -DCDS_ROOT=DIRECTORY     an installed library of a meter: include/cds.h, include/cds++.h,"
            " lib/libcds.so and lib/libcds++.so below that directory\n"
            "  a package cds            a cds.pc where pkg-config searches: the sysroot (CMAKE_SYSROOT"
            " in the toolchain file) or, in the environment, PKG_CONFIG_LIBDIR\n"
            "  -DSIMULATED_METER=ON     the simulated meter, for tests and training; the presets set it")
    endif()
    use_packaged_library()
endif()

# A program for a meter must not contain library paths of the host. The meter's loader needs no paths.
if(NOT ON_SIMULATED_METER)
    set(CMAKE_SKIP_RPATH ON)
endif()
