# Compiler settings that every target shares.
add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)

# What nothing refers to is left out of a program.
add_compile_options(-ffunction-sections -fdata-sections)
string(APPEND CMAKE_EXE_LINKER_FLAGS " -Wl,--gc-sections")

# Programs are loaded at a fixed address: a start relocates no page, and on the meter the program
# is an eighth smaller. Shared libraries get -fPIC after this, which then holds.
string(APPEND CMAKE_CXX_FLAGS " -fno-pie")
string(APPEND CMAKE_C_FLAGS " -fno-pie")
string(APPEND CMAKE_EXE_LINKER_FLAGS " -no-pie")

# Includes start at the root.
include_directories(${PROJECT_SOURCE_DIR})

if(CMAKE_CROSSCOMPILING AND NOT EMSCRIPTEN)
    # The linker would allow for pages of 65536 bytes, which pads a small program by tens of
    # kilobytes. A kernel with larger pages than given here cannot load it.
    set(METER_PAGE_SIZE 4096 CACHE STRING "Page size of the meter's kernel, in bytes")
    add_link_options(LINKER:-z,max-page-size=${METER_PAGE_SIZE})
endif()

# A program finds shared libraries of this build beside itself, wherever the build folder is. The
# meter's own are where its loader looks; no path of this machine goes into a program for it.
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
if(CDS_ROOT)
    set(CMAKE_SKIP_RPATH ON)
endif()
