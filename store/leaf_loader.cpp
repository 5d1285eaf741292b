#include "store/leaf_loader.h"

namespace
{

// Returns the element of the leaf at `next`, or null when the leaf could not be read. Moves `next`
// to the following leaf.
const toolkit::CElement* take_element(LeafCursor& next)
{
    const toolkit::CElement& element = *next.element++;
    return *next.status++ == status_success ? &element : nullptr;
}

void load_element(EditableText& target, const toolkit::CElement* element)
{
    if (target.changed)
        return;
    std::string text;
    if (element != nullptr)
        element->to_string(text);
    assign_text(target, text, false);
}

} // namespace

void load_text(EditableText& target, LeafCursor& next)
{
    load_element(target, take_element(next));
}

void load_string_text(EditableText& target, LeafCursor& next)
{
    const toolkit::CElement* element = take_element(next);
    const bool holds_string = element != nullptr && element->type() == string_type;
    load_element(target, holds_string ? element : nullptr);
}

void load_flag(EditableFlag& target, LeafCursor& next, bool fallback)
{
    const toolkit::CElement* element = take_element(next);
    if (target.changed)
        return;
    const bool holds_boolean = element != nullptr && element->type() == boolean_type;
    target.value = holds_boolean ? element->to_bool() : fallback;
}
