// The version of the project. It is defined only here, because CMake reads this file.
#pragma once

inline constexpr char program_version[] = "0.0.1";
