// The version of the project, stated here only: CMake reads it from this line.
#pragma once

inline constexpr char program_version[] = "0.0.1";
