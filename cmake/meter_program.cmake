# add_meter_program(NAME SOURCE...): adds the program NAME. The packages for a meter contain this program and
# its manual page docs/man/NAME.8. The caller links the libraries.
function(add_meter_program name)
    add_executable(${name} ${ARGN})
    if(ON_SIMULATED_METER AND NOT CMAKE_CROSSCOMPILING AND NOT STATIC_PROGRAMS)
        start_fast(${name})
    endif()
    set_property(GLOBAL APPEND PROPERTY METER_PROGRAMS ${name})
endfunction()

# start_fast(NAME): links libstdc++ statically into a program that runs on the host, because loading a
# shared libstdc++ takes longer than the rest of the start. The C library stays dynamic, so that tests can
# preload libraries. libstdc++ calls two functions of libm in code that the linker drops later. The linker
# takes both functions from the static libm, so that the program does not load the shared libm.
function(start_fast name)
    target_link_options(${name} PRIVATE -static-libstdc++ -static-libgcc
        LINKER:--undefined=fegetround LINKER:--undefined=fesetround)
    target_link_libraries(${name} PRIVATE -l:libm.a)
endfunction()
