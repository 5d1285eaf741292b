#include "console/value_entry.h"

#include "console/line_reader.h"
#include "console/number_scan.h"

#include <algorithm>
#include <iterator>

namespace
{

constexpr int address_parts = 4;

// The numbers at the start of a dotted address. Reading stops at the first character that belongs
// neither to a number nor to a dot between two numbers.
struct DottedNumbers {
    std::uint32_t part[address_parts];
    int count; // how many numbers were read
};

DottedNumbers scan_dotted(const char* text)
{
    DottedNumbers numbers = {};
    while (scan_unsigned(text, numbers.part[numbers.count])) {
        if (++numbers.count == address_parts || *text++ != '.')
            break;
    }
    return numbers;
}

bool all_are_bytes(const DottedNumbers& numbers)
{
    return std::all_of(std::begin(numbers.part), std::end(numbers.part),
                       [](std::uint32_t part) { return part <= 255; });
}

} // namespace

bool asks_to_clear(const std::string& answer)
{
    return answer[0] == '~'; // for an empty answer, answer[0] is a zero byte
}

int prompt_ipv4(const std::string& prompt, EditableText& target)
{
    std::string answer;
    const int result = prompt_line(prompt, answer);
    if (result != answer_taken)
        return result;

    const DottedNumbers numbers = scan_dotted(answer.c_str());
    if (numbers.count == address_parts) {
        if (!all_are_bytes(numbers))
            return answer_rejected;
        assign_text(target, answer, true);
        return answer_taken;
    }
    if (!asks_to_clear(answer))
        return answer_rejected;
    target.text.clear(); // deliberate: leaves the changed flag as it is
    return answer_taken;
}

bool enter_address(const std::string& prompt, EditableText& target)
{
    const int result = prompt_ipv4(prompt, target);
    report_no_answer(result, "Error: invalid address");
    return result == answer_taken;
}
