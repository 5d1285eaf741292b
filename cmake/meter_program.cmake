# add_meter_program(NAME SOURCE...): adds a program that is installed on a meter with its manual page
# docs/man/NAME.8. The caller links the libraries.
function(add_meter_program name)
    add_executable(${name} ${ARGN})
    if(ON_SIMULATED_METER AND NOT CMAKE_CROSSCOMPILING AND NOT STATIC_PROGRAMS)
        start_fast(${name})
    endif()
    set_property(GLOBAL APPEND PROPERTY METER_PROGRAMS ${name})
endfunction()

# start_fast(NAME): links libstdc++ statically into a host program on the simulated meter, because loading
# it takes longer than the rest of the start. The C library stays dynamic, so that tests can preload
# libraries. libstdc++ refers to two functions of libm in code that the linker drops later. The linker
# finds them in the static libm, so the program does not load the shared one.
function(start_fast name)
    target_link_options(${name} PRIVATE -static-libstdc++ -static-libgcc
        LINKER:--undefined=fegetround LINKER:--undefined=fesetround)
    target_link_libraries(${name} PRIVATE -l:libm.a)
endfunction()
