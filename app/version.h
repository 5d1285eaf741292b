// The project's version. It is defined only here: CMake reads it from this line.
#pragma once

inline constexpr char program_version[] = "0.0.1";
