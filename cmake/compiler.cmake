# Compiler settings that every target shares.
add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)

# Includes start at the root.
include_directories(${PROJECT_SOURCE_DIR})
