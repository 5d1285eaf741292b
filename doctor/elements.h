// Showing elements as text, and reading leaves.
#pragma once

#include "doctor/report.h"
#include "settings/setting_leaves.h"
#include "store/client_library.h"

#include <string>
#include <vector>

// The values that the checks give to elements.
enum class Sample : unsigned char {
    boolean_true,
    boolean_false,
    integer,
    string,
    empty,
    long_string
};

toolkit::CElement element_of_sample(Sample sample);

// The type code with which the utility writes a leaf.
int type_code(LeafType type);

// "a boolean", "an integer", "a string" or "a value of another type".
const char* type_name(int code);

std::string text_of(const toolkit::CElement& element);

// The element's value: "true", "12" or "text".
Words shown(const toolkit::CElement& element);

// True when type and value are the same.
bool same_element(const toolkit::CElement& one, const toolkit::CElement& other);

// A leaf that no meter has.
inline constexpr char absent_path[] = "/meter-settings-doctor/no such leaf/Value";

// The result of one read, as parallel arrays. The library sets their lengths, which may differ from
// the number of paths.
struct Leaves {
    std::vector<std::string> paths;
    std::vector<api_status_t> statuses;
    std::vector<toolkit::CElement> elements;
    int result = 0;
};

// Reads the leaves of `paths` in one call.
void read_leaves(Leaves& leaves);

// True when the arrays have the length that the utility expects.
bool has_right_lengths(const Leaves& leaves);

// The result of reading one leaf. After a failed read, `result` or `status` holds the reason.
struct Leaf {
    int result = 0;
    api_status_t status = 0;
    toolkit::CElement element;
};

// Reads one leaf. Arrays of another length than 1 give the result -1, as in the utility.
Leaf read_leaf(const char* path);

bool is_readable(const Leaf& leaf);
