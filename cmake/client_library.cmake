# The target `client_library`: the store's client library, libcds and libcds++.
#
# CDS_ROOT names the folder of an installed library (include/, lib/libcds.so,
# lib/libcds++.so). Without it the simulated meter's stand-in takes its place, which also
# brings `system` and `sleep` of its own.
#
# The stand-in is linked into a desk's program, for a fast start, and is loaded by a meter's, which
# is then the same program that loads the meter's own library.
set(CDS_ROOT "" CACHE PATH "Folder of the meter's own client library; empty: the stand-in")

add_library(client_library INTERFACE)
if(CDS_ROOT)
    if(NOT IS_ABSOLUTE ${CDS_ROOT})
        message(FATAL_ERROR "CDS_ROOT must be a whole path, starting with /: ${CDS_ROOT}")
    endif()
    set(only_there PATHS ${CDS_ROOT}/lib NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH NO_CACHE REQUIRED)
    find_library(LIBCDS cds ${only_there})
    find_library(LIBCDSXX cds++ ${only_there})
    target_include_directories(client_library SYSTEM INTERFACE ${CDS_ROOT}/include)
    target_link_libraries(client_library INTERFACE ${LIBCDSXX} ${LIBCDS})
else()
    add_subdirectory(simulator)
    if(CMAKE_CROSSCOMPILING AND NOT EMSCRIPTEN)
        target_link_libraries(client_library INTERFACE cds++_shared cds_shared)
    else()
        target_link_libraries(client_library INTERFACE cds++ cds)
    endif()
endif()
