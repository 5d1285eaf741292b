# Included by a folder whose desk programs must start fast.
#
# Loading libstdc++ would take longer than all the rest of the start, so it is linked in
# statically. The C library stays dynamic, so that tools can be preloaded. The compiler's own list
# of libraries is replaced because it names libm, which nothing uses and which would be loaded all
# the same. Sanitizers and profiles come with that list, so their builds keep it.
if(NOT CMAKE_CXX_FLAGS MATCHES "-f(sanitize|profile)")
    string(APPEND CMAKE_EXE_LINKER_FLAGS " -nodefaultlibs -static-libgcc")
    set(CMAKE_CXX_STANDARD_LIBRARIES "-Wl,-Bstatic -lstdc++ -Wl,-Bdynamic -lgcc -lgcc_eh -lc")
endif()
