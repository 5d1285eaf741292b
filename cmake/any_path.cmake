# What lets the project be built in a folder with any name that CMake itself can handle.

# Ninja misreads these characters in the lists of headers that compilers write, and would compile
# everything again each time. Lists with relative paths do not contain them.
if(CMAKE_SOURCE_DIR MATCHES "['&*?^`]")
    set(CMAKE_C_COMPILER_LAUNCHER ${CMAKE_CURRENT_LIST_DIR}/relative-headers ${CMAKE_SOURCE_DIR}
        ${CMAKE_CXX_COMPILER_LAUNCHER})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_C_COMPILER_LAUNCHER})
endif()

# Makefiles name files by their whole paths, in which a colon ends the name for make(1).
if(CMAKE_GENERATOR MATCHES Makefiles AND "${CMAKE_SOURCE_DIR}${CMAKE_BINARY_DIR}" MATCHES ":")
    message(FATAL_ERROR "make cannot build in a directory whose path contains a colon: move it, or use Ninja (-G Ninja)")
endif()

# Where programs of the preset `coverage` leave their counts. CMake quotes the path here; a preset
# would not.
if(CMAKE_CXX_FLAGS MATCHES "-fprofile-instr-generate")
    set(counts ${CMAKE_BINARY_DIR}/profiles/%4m.profraw)
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fprofile-instr-generate=${counts}>)
endif()
