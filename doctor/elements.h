// Reading leaves, and elements in words.
#pragma once

#include "settings/setting_leaves.h"
#include "store/client_library.h"

#include <string>
#include <vector>

// A leaf that no meter has.
inline constexpr char absent_path[] = "/meter-settings-doctor/no such leaf/Value";

struct LeafRead {
    int result = 0; // of the call
    api_status_t status = 0;
    toolkit::CElement element;
};

// Reads one leaf as the screens do. After a failure, the status is 0.
LeafRead read_leaf(const std::string& path);

bool is_readable(const LeafRead& leaf);

// The type code with which the utility writes such a leaf.
int type_code(LeafType type);

// "a boolean", "an integer", "a string" or "of another type".
const char* type_name(int code);

std::string text_of(const toolkit::CElement& element);

// The element's value: true, 12 or "text".
std::string shown(const toolkit::CElement& element);

// True when type and value are the same.
bool same_element(const toolkit::CElement& one, const toolkit::CElement& other);
