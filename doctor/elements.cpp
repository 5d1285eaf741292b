#include "doctor/elements.h"

#include "store/connection.h"

#include <cstdint>

toolkit::CElement element_of_sample(Sample sample)
{
    switch (sample) {
    case Sample::boolean_true: return element_of(true);
    case Sample::boolean_false: return element_of(false);
    case Sample::integer: return element_of(std::int32_t{-12});
    case Sample::string: return element_of(std::string("a b"));
    case Sample::empty: return element_of(std::string());
    default: return element_of(std::string(300, 'x'));
    }
}

int type_code(LeafType type)
{
    if (type == LeafType::number)
        return element_of_sample(Sample::integer).type();
    return type == LeafType::boolean ? boolean_type : string_type;
}

const char* type_name(int code)
{
    if (code == boolean_type)
        return "a boolean";
    if (code == string_type)
        return "a string";
    return code == type_code(LeafType::number) ? "an integer" : "a value of another type";
}

std::string text_of(const toolkit::CElement& element)
{
    std::string text;
    element.to_string(text);
    return text;
}

Words shown(const toolkit::CElement& element)
{
    return quoted(text_of(element));
}

bool same_element(const toolkit::CElement& one, const toolkit::CElement& other)
{
    return one.type() == other.type() && text_of(one) == text_of(other);
}

void read_leaves(Leaves& leaves)
{
    std::vector<toolkit::element_property_t> unused_properties;
    leaves.result =
        cds().get_leaves(leaves.paths, leaves.statuses, leaves.elements, unused_properties);
}

bool has_right_lengths(const Leaves& leaves)
{
    const std::size_t count = leaves.paths.size();
    return leaves.statuses.size() == count && leaves.elements.size() == count;
}

Leaf read_leaf(const char* path)
{
    Leaf leaf;
    Leaves read;
    read.paths.emplace_back(path);
    read_leaves(read);
    leaf.result = read.result;
    if (leaf.result != 0)
        return leaf;
    if (!has_right_lengths(read)) {
        leaf.result = -1;
        return leaf;
    }
    leaf.status = read.statuses[0];
    leaf.element = read.elements[0];
    return leaf;
}

bool is_readable(const Leaf& leaf)
{
    return leaf.result == 0 && leaf.status == status_success;
}
