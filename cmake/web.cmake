# Compiler settings of the web build (see web/).
target_compile_options(build_options INTERFACE -fexceptions
    "SHELL:-include \"${PROJECT_SOURCE_DIR}/web/float_chars.h\"")
target_link_options(build_options INTERFACE -fexceptions)
link_libraries(build_options)

set(STATIC_PROGRAMS ON) # WebAssembly has no shared libraries
