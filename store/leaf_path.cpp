#include "store/leaf_path.h"

void number_paths(std::vector<std::string>& paths, std::size_t first, std::size_t count,
                  std::uint32_t number)
{
    const std::string digits = std::to_string(number);
    for (std::size_t i = first; i < first + count; ++i)
        paths[i].replace(paths[i].find('?'), 1, digits);
}

std::string value_path(const std::string& path)
{
    return path + "/Value";
}

void append_value_names(std::vector<std::string>& paths)
{
    for (std::string& path : paths)
        path = value_path(path);
}
