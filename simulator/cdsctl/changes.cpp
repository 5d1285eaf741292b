#include "simulator/cdsctl/changes.h"

#include "simulator/toml_text.h"

#include <algorithm>

namespace cdsctl
{

namespace
{

using simulator::LeafValue;
using simulator::Leaves;

std::string shown_path(const std::string& path)
{
    const bool is_plain = std::none_of(path.begin(), path.end(), [](unsigned char character) {
        return character < 0x20 || character == 0x7F;
    });
    return is_plain ? path : simulator::toml_string(path);
}

std::string shown_value(const std::optional<LeafValue>& value, const char* missing)
{
    return value ? simulator::toml_value(*value) : missing;
}

} // namespace

std::vector<Change> changes_between(const Leaves& before, const Leaves& after)
{
    std::vector<Change> changes;
    auto was = before.begin();
    auto is = after.begin();
    while (was != before.end() || is != after.end()) {
        if (is == after.end() || (was != before.end() && was->first < is->first)) {
            changes.push_back({was->first, was->second, std::nullopt});
            ++was;
        } else if (was == before.end() || is->first < was->first) {
            changes.push_back({is->first, std::nullopt, is->second});
            ++is;
        } else {
            if (was->second != is->second)
                changes.push_back({is->first, was->second, is->second});
            ++was;
            ++is;
        }
    }
    return changes;
}

std::string leaf_line(const std::string& path, const LeafValue& value)
{
    return shown_path(path) + " = " + simulator::toml_value(value);
}

std::string change_line(const Change& change)
{
    return shown_path(change.path) + ": " + shown_value(change.old_value, "(new)") + " -> " +
           shown_value(change.new_value, "(cleared)");
}

Leaves leaves_below(const Leaves& leaves, std::string_view prefix)
{
    prefix = prefix.substr(0, prefix.find_last_not_of('/') + 1);

    Leaves below;
    for (auto leaf = leaves.lower_bound(prefix); leaf != leaves.end(); ++leaf) {
        const std::string& path = leaf->first;
        if (path.compare(0, prefix.size(), prefix) != 0)
            break; // the leaves are sorted, so no later path has the prefix
        if (path.size() == prefix.size() || path[prefix.size()] == '/')
            below.emplace_hint(below.end(), *leaf);
    }
    return below;
}

} // namespace cdsctl
