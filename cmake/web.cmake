# Compiler settings of the web build (see web/).
add_compile_options(-fexceptions)
add_link_options(-fexceptions)
add_compile_options("SHELL:-include ${PROJECT_SOURCE_DIR}/web/float_chars.h")
