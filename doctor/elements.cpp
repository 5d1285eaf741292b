#include "doctor/elements.h"

#include "doctor/report.h"
#include "store/connection.h"

#include <cstdint>

LeafRead read_leaf(const std::string& path)
{
    std::vector<api_status_t> statuses;
    std::vector<toolkit::CElement> elements;
    LeafRead leaf;
    leaf.result = cds_get({path}, statuses, elements);
    if (leaf.result == 0) {
        leaf.status = statuses.front();
        leaf.element = elements.front();
    }
    return leaf;
}

bool is_readable(const LeafRead& leaf)
{
    return leaf.result == 0 && leaf.status == status_success;
}

int type_code(LeafType type)
{
    if (type == LeafType::number)
        return element_of(std::int32_t{0}).type();
    return type == LeafType::boolean ? boolean_type : string_type;
}

const char* type_name(int code)
{
    if (code == boolean_type)
        return "a boolean";
    if (code == string_type)
        return "a string";
    return code == type_code(LeafType::number) ? "an integer" : "of another type";
}

std::string text_of(const toolkit::CElement& element)
{
    std::string text;
    element.to_string(text);
    return text;
}

std::string shown(const toolkit::CElement& element)
{
    const std::string text = text_of(element);
    return element.type() == string_type ? quoted(text) : text;
}

bool same_element(const toolkit::CElement& one, const toolkit::CElement& other)
{
    return one.type() == other.type() && text_of(one) == text_of(other);
}
