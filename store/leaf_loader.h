// Functions that load leaves of the store into settings.
#pragma once

#include "settings/setting_leaves.h"
#include "store/connection.h"
#include "store/leaf_path.h"

#include <cstddef>
#include <string>
#include <vector>

// A position in the results of one read. Statuses and elements are in the order of the paths.
struct LeafCursor {
    std::vector<api_status_t>::const_iterator status;
    std::vector<toolkit::CElement>::const_iterator element;
};

// Loads the leaf at `next` into `target`, unless the changed flag of `target` is set. The text
// becomes empty when the leaf could not be read. Always moves `next` to the following leaf.
void load_text(EditableText& target, LeafCursor& next);

// Like `load_text`, but treats a leaf that does not hold a string as unreadable.
void load_string_text(EditableText& target, LeafCursor& next);

// Loads the leaf at `next` into `target`, unless the changed flag of `target` is set. The value
// becomes `fallback` when the leaf could not be read or does not hold a boolean. Always moves
// `next` to the following leaf.
void load_flag(EditableFlag& target, LeafCursor& next, bool fallback);

// The results of one read, in the order of the paths.
struct LeafValues {
    std::vector<api_status_t> statuses;
    std::vector<toolkit::CElement> elements;
};

// Reads all leaves of a table in one call and loads them into `settings`. Returns true on success.
// Returns false when the read failed. In that case `settings` is unchanged.
template <typename Settings, std::size_t count>
bool load_leaves(const SettingLeaf<Settings> (&leaves)[count], Settings& settings)
{
    LeafValues values;
    if (cds_get(leaf_paths(leaves, settings), values.statuses, values.elements) != 0)
        return false;
    LeafCursor next = {values.statuses.begin(), values.elements.begin()};
    for (const SettingLeaf<Settings>& leaf : leaves) {
        switch (leaf.type) {
        case LeafType::boolean:
            load_flag(settings.*leaf.member.flag, next, leaf.if_unreadable);
            break;
        case LeafType::string: load_string_text(settings.*leaf.member.text, next); break;
        default: load_text(settings.*leaf.member.text, next); break; // LeafType::number
        }
    }
    return true;
}
