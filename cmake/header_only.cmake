# The target `header_only_libraries`: what the simulator, the tools and the tests use of Debian's
# header-only packages. They are the same for every machine, so a cross build takes them from this
# one, each by its own folder's name: /usr/include as a whole would bring in this machine's headers.
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
