#include "console/value_entry.h"

#include "console/line_reader.h"
#include "console/number_scan.h"

#include <algorithm>
#include <iterator>

namespace
{

// The numbers of a dotted address, as far as they could be read.
struct DottedNumbers {
    std::uint32_t part[4];
    int count; // 0 to 4
};

DottedNumbers scan_dotted(const char* text)
{
    DottedNumbers numbers = {};
    while (scan_unsigned(text, numbers.part[numbers.count])) {
        if (++numbers.count == 4 || *text++ != '.')
            break;
    }
    return numbers;
}

bool all_are_bytes(const DottedNumbers& numbers)
{
    return std::all_of(std::begin(numbers.part), std::end(numbers.part),
                       [](std::uint32_t part) { return part <= 255; });
}

// Takes the next leaf's element; null when the leaf could not be read.
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

bool asks_to_clear(const std::string& answer)
{
    return !answer.empty() && answer[0] == '~';
}

int prompt_ipv4(const std::string& prompt, EditableText& target)
{
    std::string answer;
    const int result = prompt_line(prompt, answer);
    if (result != answer_taken)
        return result;

    const DottedNumbers numbers = scan_dotted(answer.c_str());
    if (numbers.count == 4) {
        if (!all_are_bytes(numbers))
            return answer_refused;
        assign_text(target, answer, true);
        return answer_taken;
    }
    if (!asks_to_clear(answer))
        return answer_refused;
    target.text.clear(); // the mark stays: clearing alone does not count as a change
    return answer_taken;
}

bool enter_address(const std::string& prompt, EditableText& target)
{
    const int result = prompt_ipv4(prompt, target);
    tell_no_answer(result, "Error: invalid address");
    return result == answer_taken;
}

std::string text_or_none(const EditableText& value)
{
    return value.text.empty() ? "[None]" : value.text;
}

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
