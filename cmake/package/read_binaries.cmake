# cpack includes this file once for each kind of package. The file reads CPACK_PROGRAM_BINARIES and
# CPACK_DESK_BINARIES with readelf. It sets the architecture of the packages, and the packages and versions
# that each component depends on. The symbol versions in a binary determine the versions of its libraries.
#
# The binaries are built first, because cpack builds nothing itself with Ninja.
execute_process(COMMAND ${CPACK_BUILD_FIRST} RESULT_VARIABLE built)
if(NOT built EQUAL 0)
    message(FATAL_ERROR "the files to pack cannot be built")
endif()

# The libstdc++6 releases that introduced the symbol versions. The first release is for the version in the
# variable's name. After it come pairs of a symbol version and its release.
set(stdcxx_of_GLIBCXX_3.4 5 3.4.22 6 3.4.23 7 3.4.25 8 3.4.26 9 3.4.28 10 3.4.29 11 3.4.30 12 3.4.31 13
    3.4.33 14 3.4.34 15)
set(stdcxx_of_CXXABI_1.3 5 1.3.10 6 1.3.11 7 1.3.12 9 1.3.13 11 1.3.14 13 1.3.15 14 1.3.16 15)
set(newest_GLIBCXX 3.4.34)
set(newest_CXXABI 1.3.16)
set(libraries_of_known_packages "^(ld(-linux.*|64)?|libc|libm|libstdc\\+\\+|libgcc_s|libcds(\\+\\+)?)\\.so")

function(readelf out)
    execute_process(COMMAND ${CPACK_READELF} -W ${ARGN} OUTPUT_VARIABLE said RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${CPACK_READELF} cannot read ${ARGN}; are the programs built?")
    endif()
    set(${out} "${said}" PARENT_SCOPE)
endfunction()

# Sets `out` to the Debian architecture of the binary `file`.
function(read_architecture out file)
    readelf(header -h ${file})
    set(float soft)
    if(header MATCHES "hard-float ABI")
        set(float hard)
    endif()
    string(REGEX REPLACE ".*Class: +([^\n]*).*Data:[^,\n]*, (big|little) endian.*Machine: +([^\n]*).*"
        "\\1 \\2 \\3 ${float}" machine "${header}")
    foreach(row IN ITEMS "powerpc=ELF32 big PowerPC " "ppc64=ELF64 big PowerPC64" "ppc64el=ELF64 little PowerPC64"
            "amd64=ELF64 little Advanced Micro Devices X86-64" "i386=ELF32 little Intel 80386"
            "arm64=ELF64 little AArch64" "armhf=ELF32 little ARM hard" "armel=ELF32 little ARM soft"
            "mips=ELF32 big MIPS" "mipsel=ELF32 little MIPS" "riscv64=ELF64 little RISC-V")
        string(REGEX MATCH "^([^=]*)=(.*)$" row "${row}")
        string(FIND "${machine}" "${CMAKE_MATCH_2}" place)
        if(place EQUAL 0)
            set(${out} ${CMAKE_MATCH_1} PARENT_SCOPE)
            return()
        endif()
    endforeach()
    message(FATAL_ERROR "${file}: no Debian architecture is known for: ${machine}")
endfunction()

# Sets `out` to the highest symbol version with this prefix in the text. Sets `out` to an empty text if no
# version has this prefix.
function(highest_version out prefix text)
    set(highest "")
    string(REGEX MATCHALL "Name: ${prefix}_[0-9.]+" names "${text}")
    foreach(name IN LISTS names)
        string(REGEX REPLACE ".*_" "" version "${name}")
        if(highest STREQUAL "" OR version VERSION_GREATER highest)
            set(highest ${version})
        endif()
    endforeach()
    set(${out} "${highest}" PARENT_SCOPE)
endfunction()

# Sets `out` to the first libstdc++6 release with this symbol version. `prefix` is GLIBCXX or CXXABI. `first`
# is the version in the name of the variable above.
function(stdcxx_version out prefix first version)
    if(version VERSION_GREATER newest_${prefix})
        message(FATAL_ERROR "${prefix}_${version} is newer than the versions in ${CMAKE_CURRENT_LIST_FILE}")
    endif()
    set(rows ${first} ${stdcxx_of_${prefix}_${first}})
    set(needed "")
    while(rows)
        list(GET rows 0 symbols)
        list(GET rows 1 library)
        list(REMOVE_AT rows 0 1)
        if(NOT version VERSION_LESS symbols)
            set(needed ${library})
        endif()
    endwhile()
    set(${out} "${needed}" PARENT_SCOPE)
endfunction()

# Sets `out` to the packages that the binaries need, in the syntax of the field Depends.
function(read_dependencies out)
    set(versions "")
    foreach(file IN LISTS ARGN)
        readelf(said -V -d ${file})
        string(APPEND versions "${said}")
        string(REGEX MATCHALL "Shared library: \\[[^]]*" libraries "${said}")
        foreach(library IN LISTS libraries)
            string(REGEX REPLACE ".*\\[" "" library "${library}")
            if(NOT library MATCHES "${libraries_of_known_packages}")
                message(WARNING "${file}: Depends does not name the package of ${library}")
            endif()
        endforeach()
    endforeach()
    set(packages "")
    foreach(row IN ITEMS libc6=GLIBC libgcc-s1=GCC)
        string(REGEX MATCH "^(.*)=(.*)$" row ${row})
        set(package ${CMAKE_MATCH_1})
        highest_version(version ${CMAKE_MATCH_2} "${versions}")
        if(version)
            list(APPEND packages "${package} (>= ${version})")
        endif()
    endforeach()
    highest_version(abi CXXABI "${versions}")
    highest_version(classes GLIBCXX "${versions}")
    if(abi OR classes)
        stdcxx_version(library GLIBCXX 3.4 "${classes}")
        stdcxx_version(other CXXABI 1.3 "${abi}")
        if(other VERSION_GREATER library)
            set(library ${other})
        endif()
        list(APPEND packages "libstdc++6 (>= ${library})")
    endif()
    string(REPLACE ";" ", " packages "${packages}")
    set(${out} "${packages}" PARENT_SCOPE)
endfunction()

list(GET CPACK_PROGRAM_BINARIES 0 first_binary)
read_architecture(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${first_binary})
read_dependencies(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS ${CPACK_PROGRAM_BINARIES})
if(CPACK_DESK_BINARIES)
    read_dependencies(CPACK_DEBIAN_DESK_PACKAGE_DEPENDS ${CPACK_DESK_BINARIES})
endif()
if(CPACK_GENERATOR STREQUAL "External")
    set(CPACK_COMPONENTS_ALL program)
endif()
