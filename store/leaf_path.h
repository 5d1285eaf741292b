// Leaf paths: text paths that name one leaf of the store each. A "?" in a path template stands
// for the number of an Ethernet port.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Replaces the first "?" of each of the `count` paths from index `first` on by the decimal
// `number`. Throws std::out_of_range at a path without "?"; those before it are then numbered.
void number_paths(std::vector<std::string>& paths, std::size_t first, std::size_t count,
                  std::uint32_t number);

// Appends "/Value", the name of the leaf that holds a path's value, to every path.
void append_value_names(std::vector<std::string>& paths);
