// Functions that show elements as text, and functions that read leaves.
#pragma once

#include "doctor/report.h"
#include "settings/setting_leaves.h"
#include "store/client_library.h"

#include <string>
#include <vector>

// The values that the checks store in new elements.
enum class Sample : unsigned char {
    boolean_true,
    boolean_false,
    integer,
    string,
    empty,
    long_string
};

toolkit::CElement element_of_sample(Sample sample);

// Returns the type code of the elements that the utility writes to leaves of this type.
int type_code(LeafType type);

// Returns "a boolean", "an integer", "a string" or "a value of another type".
const char* type_name(int code);

std::string text_of(const toolkit::CElement& element);

// Returns the value of the element in quotes.
Words shown(const toolkit::CElement& element);

// Returns true when both elements have the same type and the same value.
bool same_element(const toolkit::CElement& one, const toolkit::CElement& other);

// The path of a leaf that no meter has.
inline constexpr char absent_path[] = "/meter-settings-doctor/no such leaf/Value";

// The paths and the results of one read, as parallel arrays. The library sets the lengths of
// `statuses` and `elements`, so these arrays may be shorter or longer than `paths`.
struct Leaves {
    std::vector<std::string> paths;
    std::vector<api_status_t> statuses;
    std::vector<toolkit::CElement> elements;
    int result = 0;
};

// Reads the leaves of `leaves.paths` in one call and fills the other members.
void read_leaves(Leaves& leaves);

// Returns true when `statuses` and `elements` have one entry per path, as the utility expects.
bool has_right_lengths(const Leaves& leaves);

// The result of reading one leaf. After a failed read, `result` or `status` holds the reason.
struct Leaf {
    int result = 0;
    api_status_t status = 0;
    toolkit::CElement element;
};

// Reads one leaf. If the library does not return exactly one status and one element, `result` is
// -1, because the utility treats such a read as failed.
Leaf read_leaf(const char* path);

bool is_readable(const Leaf& leaf);
