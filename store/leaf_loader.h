// Leaves on their way from the store into the settings record.
#pragma once

#include "settings/setting_leaves.h"
#include "store/connection.h"
#include "store/leaf_path.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

// The results of one read, taken leaf by leaf in the order of the paths.
struct LeafCursor {
    std::vector<api_status_t>::const_iterator status;
    std::vector<toolkit::CElement>::const_iterator element;
};

// Loads the next leaf: a changed target keeps its text, any other becomes the leaf's text, or
// empty when the leaf's status is not success. Moves on by one leaf in any case.
void load_text(EditableText& target, LeafCursor& next);

// As `load_text`, for leaves that must hold a string: any other type is unreadable.
void load_string_text(EditableText& target, LeafCursor& next);

// Loads the next leaf into a flag that is not changed: a readable boolean, else `fallback`. Moves
// on by one leaf in any case.
void load_flag(EditableFlag& target, LeafCursor& next, bool fallback);

// The values of one read, in the order of the paths.
struct LeafValues {
    std::vector<api_status_t> statuses;
    std::vector<toolkit::CElement> elements;
};

// Reads the "/Value" of each path in one call. Returns what `cds_get` returns.
int read_values(std::vector<std::string> paths, LeafValues& values);

// Reads the leaves of a table in one call and loads them into `record`. `paths` are the paths of
// its rows, numbered where they need it, without "/Value".
// Returns false when the read failed; the record is then unchanged.
template <typename Record, std::size_t count>
bool load_leaves(const SettingLeaf<Record> (&leaves)[count], std::vector<std::string> paths,
                 Record& record)
{
    LeafValues values;
    if (read_values(std::move(paths), values) != 0)
        return false;
    LeafCursor next = {values.statuses.begin(), values.elements.begin()};
    for (const SettingLeaf<Record>& leaf : leaves) {
        switch (leaf.type) {
        case LeafType::boolean:
            load_flag(record.*leaf.member.flag, next, leaf.if_unreadable);
            break;
        case LeafType::string: load_string_text(record.*leaf.member.text, next); break;
        default: load_text(record.*leaf.member.text, next); break; // a number
        }
    }
    return true;
}
