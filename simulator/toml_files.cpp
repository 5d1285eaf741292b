#include "simulator/toml_files.h"

#include "simulator/toml_text.h"

#define TOML_HEADER_ONLY 1
#define TOML_EXCEPTIONS 0
#define TOML_ENABLE_FORMATTERS 0
#define TOML_FLOAT_CHARCONV 1 // else the string streams come in, and all locales with them
#include <toml++/toml.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>

namespace simulator
{

namespace
{

// The first thing in a file that is not as it must be.
struct Complaint {
    std::uint32_t line = 0; // 0: none
    std::string reason;
};

void complain(Complaint& first, std::uint32_t line, const std::string& reason)
{
    if (first.line == 0 || line < first.line)
        first = {line, reason};
}

bool report(const Complaint& complaint, const std::string& file, std::string& error)
{
    if (complaint.line == 0)
        return true;
    error = file + ":" + std::to_string(complaint.line) + ": " + complaint.reason;
    return false;
}

// The file's name is kept from the parser, which would carry it along with every value.
toml::parse_result parse(std::string_view text, Complaint& complaint)
{
    toml::parse_result parsed = toml::parse(text);
    if (!parsed)
        complain(complaint, parsed.error().source().begin.line,
                 std::string(parsed.error().description()));
    return parsed;
}

std::optional<std::int32_t> narrowed(std::int64_t number)
{
    using Limits = std::numeric_limits<std::int32_t>;
    if (number < Limits::min() || number > Limits::max())
        return std::nullopt;
    return static_cast<std::int32_t>(number);
}

std::optional<LeafValue> leaf_value(toml::node& node)
{
    if (auto* text = node.as_string())
        return LeafValue(std::move(text->get()));
    if (const auto* flag = node.as_boolean())
        return LeafValue(flag->get());
    if (const auto* number = node.as_integer()) {
        if (const auto narrow = narrowed(number->get()))
            return LeafValue(*narrow);
    }
    return std::nullopt;
}

// A table to take keys from, and where to complain of them.
struct Keys {
    const toml::table& table;
    Complaint& complaint;
};

void read_text(const Keys& keys, std::string_view key, std::optional<std::string>& text)
{
    const toml::node* node = keys.table.get(key);
    if (node == nullptr)
        return;
    text = node->value_exact<std::string>();
    if (!text)
        complain(keys.complaint, node->source().begin.line,
                 "\"" + std::string(key) + "\" must be a string");
}

void read_number(const Keys& keys, std::string_view key, std::optional<std::int32_t>& number)
{
    const toml::node* node = keys.table.get(key);
    if (node == nullptr)
        return;
    if (const auto wide = node->value_exact<std::int64_t>())
        number = narrowed(*wide);
    if (!number)
        complain(keys.complaint, node->source().begin.line,
                 "\"" + std::string(key) + "\" must be an integer of 32 bits");
}

void read_count(const Keys& keys, std::string_view key, std::optional<std::int64_t>& count)
{
    const toml::node* node = keys.table.get(key);
    if (node == nullptr)
        return;
    count = node->value_exact<std::int64_t>();
    if (!count || *count < 0)
        complain(keys.complaint, node->source().begin.line,
                 "\"" + std::string(key) + "\" must be a number of calls");
}

template <std::size_t count>
void refuse_unknown_keys(const Keys& keys, const std::string_view (&known)[count])
{
    for (const auto& [key, node] : keys.table) {
        if (std::find(std::begin(known), std::end(known), key.str()) == std::end(known))
            complain(keys.complaint, key.source().begin.line,
                     "unknown key " + toml_string(key.str()));
    }
}

void read_call(const Keys& keys, Fault& fault)
{
    const toml::node* node = keys.table.get("call");
    std::optional<std::string> call;
    read_text(keys, "call", call);
    if (node == nullptr)
        complain(keys.complaint, fault.line, "a fault needs a \"call\"");
    else if (call && std::find(std::begin(fault_calls), std::end(fault_calls), *call) ==
                         std::end(fault_calls))
        complain(keys.complaint, node->source().begin.line, "unknown call " + toml_string(*call));
    fault.call = call.value_or("");
}

Fault read_fault(const toml::table& table, Complaint& complaint)
{
    constexpr std::string_view known[] = {"call", "path", "result", "status", "after", "times"};
    const Keys keys{table, complaint};
    Fault fault;
    std::optional<std::int64_t> after;

    fault.line = table.source().begin.line;
    refuse_unknown_keys(keys, known);
    read_call(keys, fault);
    read_text(keys, "path", fault.path);
    read_number(keys, "result", fault.result);
    read_number(keys, "status", fault.status);
    read_count(keys, "after", after);
    read_count(keys, "times", fault.times);
    fault.after = after.value_or(0);
    return fault;
}

void read_faults(const toml::node& list, Complaint& complaint, std::vector<Fault>& faults)
{
    const toml::array* tables = list.as_array();
    if (tables == nullptr || (!tables->empty() && !tables->is_homogeneous<toml::table>())) {
        complain(complaint, list.source().begin.line, "\"fault\" must be [[fault]] tables");
        return;
    }
    for (const toml::node& table : *tables)
        faults.push_back(read_fault(*table.as_table(), complaint));
}

// Where the parser stands at the end of the text.
toml::source_position end_of(std::string_view text)
{
    toml::source_position end = {1, 1};
    for (const char character : text) {
        if (character == '\n')
            end = {end.line + 1, 1};
        else if ((static_cast<unsigned char>(character) & 0xC0) != 0x80) // the first of a sequence
            ++end.column;
    }
    return end;
}

} // namespace

bool parse_leaves(std::string_view text, const std::string& file, Leaves& leaves,
                  std::string& error)
{
    Complaint complaint;
    toml::parse_result parsed = parse(text, complaint);
    if (!parsed)
        return report(complaint, file, error);

    leaves.clear();
    for (auto&& [key, node] : parsed.table()) {
        if (auto value = leaf_value(node))
            leaves.emplace_hint(leaves.end(), key.str(), std::move(*value));
        else
            complain(complaint, key.source().begin.line,
                     "leaf " + toml_string(key.str()) +
                         " is not a string, a boolean or an integer of 32 bits");
    }
    return report(complaint, file, error);
}

TomlReading parse_value(std::string_view text, LeafValue& value)
{
    constexpr std::string_view beginning = "v=";
    const std::string line = std::string(beginning) += text;
    toml::parse_result parsed = toml::parse(line);
    toml::node* node = parsed ? parsed.table().get("v") : nullptr;
    // Blanks and comments around a value are no part of it.
    if (node == nullptr || node->source().begin != end_of(beginning) ||
        node->source().end != end_of(line))
        return TomlReading::no_value;
    auto read = leaf_value(*node);
    if (!read)
        return TomlReading::other_value;
    value = std::move(*read);
    return TomlReading::leaf_value;
}

bool parse_faults(std::string_view text, const std::string& file, std::vector<Fault>& faults,
                  std::string& error)
{
    Complaint complaint;
    const toml::parse_result parsed = parse(text, complaint);
    if (!parsed)
        return report(complaint, file, error);

    faults.clear();
    constexpr std::string_view known[] = {"fault"};
    refuse_unknown_keys(Keys{parsed.table(), complaint}, known);
    if (const toml::node* list = parsed.table().get("fault"))
        read_faults(*list, complaint, faults);
    return report(complaint, file, error);
}

} // namespace simulator
