# Defines the target `header_only_libraries`: Debian's header-only packages for the simulator, the tools
# and the tests. These headers are the same for every processor, so a cross build uses the host's packages.
# The build directory links to these headers, because /usr/include also has headers of the host only.
set(header_folder ${CMAKE_BINARY_DIR}/header-only)
file(MAKE_DIRECTORY ${header_folder})
foreach(library IN ITEMS CLI doctest nlohmann toml++)
    if(NOT IS_DIRECTORY /usr/include/${library})
        message(FATAL_ERROR "The headers /usr/include/${library} are missing; see packages/run")
    endif()
    file(CREATE_LINK /usr/include/${library} ${header_folder}/${library} SYMBOLIC)
endforeach()

add_library(header_only_libraries INTERFACE)
target_include_directories(header_only_libraries SYSTEM INTERFACE ${header_folder})
