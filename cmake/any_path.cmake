# Allows the project to be built in a directory with any name that CMake can handle.

# The compilers write lists of headers. Ninja misreads these characters in a list, so it would compile all
# sources again in each build. The launcher relative-headers makes the paths in the lists relative.
if(CMAKE_SOURCE_DIR MATCHES "['&*?^`]")
    set(CMAKE_C_COMPILER_LAUNCHER ${CMAKE_CURRENT_LIST_DIR}/relative-headers ${CMAKE_SOURCE_DIR}
        ${CMAKE_CXX_COMPILER_LAUNCHER})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_C_COMPILER_LAUNCHER})
endif()

# Makefiles contain absolute paths, and make(1) does not accept a colon in a path.
if(CMAKE_GENERATOR MATCHES Makefiles AND "${CMAKE_SOURCE_DIR}${CMAKE_BINARY_DIR}" MATCHES ":")
    message(FATAL_ERROR "make cannot build in a directory whose path contains a colon: move it, or use Ninja (-G Ninja)")
endif()

# Sets the directory of the execution counts for the preset `coverage`. The option is not in the preset,
# because CMake quotes a path here, but not in a preset.
if(CMAKE_CXX_FLAGS MATCHES "-fprofile-instr-generate")
    set(counts ${CMAKE_BINARY_DIR}/profiles/%4m.profraw)
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fprofile-instr-generate=${counts}>)
endif()
