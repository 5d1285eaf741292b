# The target `client_library`: the store's client library, libcds and libcds++.
#
# CDS_ROOT names the folder of an installed library (include/, lib/libcds.so,
# lib/libcds++.so). Without it the simulated meter's stand-in takes its place, which also
# brings `system` and `sleep` of its own.
set(CDS_ROOT "" CACHE PATH "Folder of the meter's own client library; empty: the stand-in")

add_library(client_library INTERFACE)
if(CDS_ROOT)
    find_library(LIBCDS cds PATHS ${CDS_ROOT}/lib NO_DEFAULT_PATH REQUIRED)
    find_library(LIBCDSXX cds++ PATHS ${CDS_ROOT}/lib NO_DEFAULT_PATH REQUIRED)
    target_include_directories(client_library SYSTEM INTERFACE ${CDS_ROOT}/include)
    target_link_libraries(client_library INTERFACE ${LIBCDSXX} ${LIBCDS})
else()
    add_subdirectory(simulator)
    target_link_libraries(client_library INTERFACE cds++ cds)
endif()
