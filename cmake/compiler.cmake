# Defines the target `build_options`: the options to compile and link every target of the project. Only
# position-independent code, a part of hardening, comes from CMAKE_POSITION_INDEPENDENT_CODE instead.
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
include(CheckPIESupported)

add_library(build_options INTERFACE)
target_include_directories(build_options INTERFACE ${PROJECT_SOURCE_DIR}) # #include paths start at the project's root
target_compile_options(build_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
target_compile_options(build_options INTERFACE -Wno-missing-braces) # the tables omit inner braces

if(EMSCRIPTEN) # the rest of this file does not apply to WebAssembly
    include(${CMAKE_CURRENT_LIST_DIR}/web.cmake)
    return()
endif()

# With these options, the linker drops unused sections, and unused shared libraries such as libm.
target_compile_options(build_options INTERFACE -ffunction-sections -fdata-sections)
target_link_options(build_options INTERFACE LINKER:--gc-sections LINKER:--as-needed)

# Hardening. A program is loaded at a random address. Its imports are resolved when it starts, and are
# read-only afterwards. The stack is checked. In an optimising build type, library calls are checked too.
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
check_pie_supported(OUTPUT_VARIABLE no_pie LANGUAGES CXX)
if(NOT CMAKE_CXX_LINK_PIE_SUPPORTED)
    message(WARNING "This compiler links no position-independent programs: ${no_pie}")
endif()
target_link_options(build_options INTERFACE LINKER:-z,relro LINKER:-z,now)
target_compile_options(build_options INTERFACE -fstack-protector-strong)

# Without -msecure-plt, some compilers for 32-bit PowerPC call shared libraries through writable code.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(ppc|powerpc)$")
    check_cxx_compiler_flag(-msecure-plt HAVE_SECURE_PLT)
    if(HAVE_SECURE_PLT)
        target_compile_options(build_options INTERFACE -msecure-plt)
    endif()
endif()

set(CMAKE_REQUIRED_FLAGS "-O2 -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
check_cxx_source_compiles("
    #include <cstdlib>
    #if __USE_FORTIFY_LEVEL < 3
    #error the C library or the compiler knows level 2 at most
    #endif
    int main() { return 0; }" HAVE_FORTIFY_SOURCE_3)
unset(CMAKE_REQUIRED_FLAGS)
set(fortify_level $<IF:$<BOOL:${HAVE_FORTIFY_SOURCE_3}>,3,2>)
set(optimising $<OR:$<CONFIG:Release>,$<CONFIG:MinSizeRel>,$<CONFIG:RelWithDebInfo>>)
target_compile_options(build_options INTERFACE
    "$<${optimising}:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=${fortify_level}>")

if(CMAKE_CROSSCOMPILING)
    # By default, the linker aligns segments to pages of 65536 bytes, which adds tens of kilobytes to a
    # small program. A kernel whose pages are larger than METER_PAGE_SIZE cannot load the program.
    set(METER_PAGE_SIZE 4096 CACHE STRING "Page size of the meter's kernel, in bytes")
    target_link_options(build_options INTERFACE LINKER:-z,max-page-size=${METER_PAGE_SIZE})
endif()

link_libraries(build_options)

# STATIC_PROGRAMS is true if the linker's flags contain -static. HAVE_STATIC_PIE is true if the C library
# supports static programs at random addresses. If both are true, static programs get random addresses.
string(REGEX REPLACE "(^| )-static( |$)" " " flags_without_static "${CMAKE_EXE_LINKER_FLAGS}")
set(STATIC_PROGRAMS OFF)
if(NOT flags_without_static STREQUAL CMAKE_EXE_LINKER_FLAGS)
    set(STATIC_PROGRAMS ON)
    set(CMAKE_EXE_LINKER_FLAGS "${flags_without_static}")
endif()
set(CMAKE_REQUIRED_LIBRARIES -static-pie)
check_cxx_source_compiles("int main() { return 0; }" HAVE_STATIC_PIE)
unset(CMAKE_REQUIRED_LIBRARIES)
if(STATIC_PROGRAMS AND HAVE_STATIC_PIE)
    link_libraries($<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-static-pie>) # after -pie from CMake
elseif(STATIC_PROGRAMS)
    message(STATUS "This C library does not support static programs at random addresses; they get fixed ones")
    set(CMAKE_POSITION_INDEPENDENT_CODE OFF)
    add_link_options($<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-static>)
endif()

# A program finds its shared libraries by a path relative to the program, so the build directory may move.
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
