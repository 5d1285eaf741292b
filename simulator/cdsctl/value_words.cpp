#include "simulator/cdsctl/value_words.h"

#include "simulator/toml_files.h"
#include "simulator/toml_text.h"

#include <variant>

namespace cdsctl
{

namespace
{

using simulator::LeafValue;
using simulator::TomlReading;

// Both arrays list the types in the order of the alternatives of `LeafValue`.
constexpr std::string_view type_names[] = {"bool", "int", "string"};
constexpr const char* values_of_types[] = {"true or false", "an integer of 32 bits", "text"};
static_assert(std::variant_size_v<LeafValue> == std::size(type_names));
constexpr std::size_t string_type = 2;
static_assert(std::is_same_v<std::variant_alternative_t<string_type, LeafValue>, std::string>);

constexpr std::size_t any_type = std::variant_npos;

std::size_t wanted_type(std::string_view type, const LeafValue* present)
{
    for (std::size_t i = 0; i < std::size(type_names); ++i) {
        if (type_names[i] == type)
            return i;
    }
    return present == nullptr ? any_type : present->index();
}

bool reject(const std::string& word, const std::string& why, std::string& reason)
{
    reason = simulator::toml_string(word) + " is not " + why;
    return false;
}

} // namespace

bool read_value_word(const std::string& word, std::string_view type, const LeafValue* present,
                     LeafValue& value, std::string& reason)
{
    if (!simulator::is_utf8(word))
        return reject(word, "UTF-8 text", reason);

    const std::size_t wanted = wanted_type(type, present);
    const TomlReading reading =
        wanted == string_type ? TomlReading::no_value : simulator::parse_value(word, value);
    if (wanted == string_type || (wanted == any_type && reading == TomlReading::no_value)) {
        value = word;
        return true;
    }
    if (wanted == any_type && reading == TomlReading::other_value)
        return reject(word,
                      "a string, a boolean or an integer of 32 bits (--type string takes it "
                      "as text)",
                      reason);
    if (wanted != any_type && (reading != TomlReading::leaf_value || value.index() != wanted))
        return reject(word, values_of_types[wanted], reason);
    return true;
}

} // namespace cdsctl
