#include "simulator/cdsctl/near_path.h"

#include "simulator/toml_text.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <string_view>
#include <vector>

namespace cdsctl
{

namespace
{

using simulator::Leaves;

constexpr std::size_t most_edits = 2; // an edit inserts, deletes or replaces one letter

std::string without_capitals(std::string text)
{
    for (char& letter : text) {
        if (letter >= 'A' && letter <= 'Z')
            letter = static_cast<char>(letter - 'A' + 'a');
    }
    return text;
}

// Removes the path components that both paths have in common at the beginning.
void cut_common_beginning(std::string_view& one, std::string_view& other)
{
    const auto differ = std::mismatch(one.begin(), one.end(), other.begin(), other.end());
    const auto same = static_cast<std::size_t>(differ.first - one.begin());
    const std::size_t slash = one.substr(0, same).rfind('/');
    const std::size_t cut = slash == std::string_view::npos ? 0 : slash + 1;
    one.remove_prefix(cut);
    other.remove_prefix(cut);
}

// Removes the path components that both paths have in common at the end.
void cut_common_end(std::string_view& one, std::string_view& other)
{
    const auto differ = std::mismatch(one.rbegin(), one.rend(), other.rbegin(), other.rend());
    const auto same = static_cast<std::size_t>(differ.first - one.rbegin());
    const std::size_t slash = one.substr(one.size() - same).find('/');
    const std::size_t cut = slash == std::string_view::npos ? 0 : same - slash;
    one.remove_suffix(cut);
    other.remove_suffix(cut);
}

// Returns the Levenshtein distance of the two texts. For a distance above `most_edits`, returns any
// number above `most_edits`.
std::size_t edits_between(std::string_view one, std::string_view other)
{
    // row[j] is the distance from the letters of `one` that were handled so far to the first j
    // letters of `other`.
    std::vector<std::size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 0; i < one.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < other.size(); ++j) {
            const std::size_t replaced = diagonal + (one[i] == other[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
        }
        if (*std::min_element(row.begin(), row.end()) > most_edits)
            break; // the distances in later rows are not smaller
    }
    return row.back();
}

// Returns the number of edits between two paths, or more than `most_edits` when the paths are not
// similar. Paths with one edit are similar if `path` has at least three letters. Paths with two
// edits are similar if the edits change at most half of the part in which the paths differ.
std::size_t distance(std::string_view path, std::string_view other)
{
    constexpr std::size_t not_close = most_edits + 1;
    const std::size_t whole = path.size();
    cut_common_beginning(path, other);
    cut_common_end(path, other);
    const std::size_t edits = edits_between(path, other);
    const bool is_close =
        edits <= 1 ? 3 * edits <= whole : 2 * edits <= std::max(path.size(), other.size());
    return is_close ? edits : not_close;
}

} // namespace

std::string near_path(const std::string& path, const Leaves& leaves)
{
    const std::string end = "/Value";
    if (leaves.count(path + end) != 0)
        return path + end;
    const std::size_t stem = std::max(path.size(), end.size()) - end.size();
    if (path.substr(stem) == end && leaves.count(path.substr(0, stem)) != 0)
        return path.substr(0, stem);

    const std::string wanted = without_capitals(path);
    std::string nearest;
    std::size_t fewest = most_edits;
    for (const auto& [other, value] : leaves) {
        const std::size_t edits = distance(wanted, without_capitals(other));
        if (edits < fewest || (edits == fewest && nearest.empty())) {
            fewest = edits;
            nearest = other;
        }
    }
    return nearest;
}

std::string near_path_hint(const std::string& path, const Leaves& leaves)
{
    const std::string near = near_path(path, leaves);
    return near.empty() ? "" : " (did you mean " + simulator::toml_string(near) + "?)";
}

} // namespace cdsctl
