# add_meter_program(NAME SOURCE...): a program that is installed on a meter, with its manual page
# docs/man/NAME.8. Its libraries are linked to it afterwards.
function(add_meter_program name)
    add_executable(${name} ${ARGN})
    if(ON_SIMULATED_METER AND NOT CMAKE_CROSSCOMPILING AND NOT STATIC_PROGRAMS)
        start_fast(${name})
    endif()
    set_property(GLOBAL APPEND PROPERTY METER_PROGRAMS ${name})
endfunction()

# On the simulated meter the host's program carries libstdc++, because loading that library takes
# longer than all the rest of the start. The C library stays dynamic, so that tests can preload.
# libstdc++ names two functions of libm in code that the linker drops afterwards. Taken from the
# static libm, they do not make the program load the shared one.
function(start_fast name)
    target_link_options(${name} PRIVATE -static-libstdc++ -static-libgcc
        LINKER:--undefined=fegetround LINKER:--undefined=fesetround)
    target_link_libraries(${name} PRIVATE -l:libm.a)
endfunction()
