// Parses an input as a store.toml, as a faults.toml and as a single value. Also makes leaves and a
// number from its bytes. Leaves must be equal after they are written and read again. When a file
// cannot be parsed, the error must name a line of the file.
#include "simulator/toml_files.h"
#include "simulator/toml_text.h"
#include "tests/fuzz/check.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

using namespace simulator;

namespace
{

// Checks that an error names the file and a line of the file, and gives a reason.
void check_error(const std::string& error, const std::string& text)
{
    const std::string file = "store.toml:";
    check(error.compare(0, file.size(), file) == 0, "the error names its file", error);
    std::size_t digits = 0;
    const unsigned long line = std::stoul(error.substr(file.size()), &digits);
    const long line_ends = std::count(text.begin(), text.end(), '\n');
    check(line >= 1 && line <= static_cast<unsigned long>(line_ends) + 1,
          "the error names a line of the file", error);
    check(error.compare(file.size() + digits, 2, ": ") == 0 &&
              error.size() > file.size() + digits + 2,
          "the error gives a reason", error);
}

void check_round_trip(const Leaves& leaves)
{
    const std::string text = toml_text(leaves);
    Leaves again;
    std::string error;
    check(parse_leaves(text, "store.toml", again, error), "a written file can be read", error);
    check(again == leaves, "the leaves that were written are read back equal", text);
    check_equal(toml_text(again), text, "writing again gives the same text");
}

void read_store(const std::string& text)
{
    Leaves leaves;
    std::string error;
    if (!parse_leaves(text, "store.toml", leaves, error)) {
        check_error(error, text);
        return;
    }
    check(error.empty(), "a store that is read has no error", error);
    for (const auto& [path, value] : leaves) {
        const std::string* held = std::get_if<std::string>(&value);
        check(is_utf8(path) && (held == nullptr || is_utf8(*held)),
              "a leaf that was read can be written", path);
    }
    check_round_trip(leaves);
}

void read_faults(const std::string& text)
{
    std::vector<Fault> faults;
    std::string error;
    if (!parse_faults(text, "store.toml", faults, error)) {
        check_error(error, text);
        return;
    }
    check(error.empty(), "faults that are read have no error", error);
    for (const Fault& fault : faults) {
        check(std::find(std::begin(fault_calls), std::end(fault_calls), fault.call) !=
                  std::end(fault_calls),
              "a fault is of a known call");
        check(fault.after.value_or(0) >= 0 && fault.times.value_or(0) >= 0,
              "a fault's counts are numbers");
        check(fault.line >= 1, "a fault has a line");
    }
    // A fault must not hit more often than its `times`. A fault without `times` may hit any number
    // of calls.
    std::int64_t hits = 0;
    const std::vector<std::string> no_paths;
    const auto is_open = [](const Fault& fault) { return !fault.times; };
    const bool endless = std::any_of(faults.begin(), faults.end(), is_open);
    std::int64_t allowed = 0;
    for (const Fault& fault : faults)
        allowed += std::min<std::int64_t>(fault.times.value_or(0), 64);
    for (int call = 0; call < 64; ++call) {
        for (const std::string_view name : fault_calls)
            hits += take_fault(faults, name, no_paths) != nullptr;
    }
    check(endless || hits <= allowed, "faults hit no more often than they say");
}

// Splits any bytes into leaves: "PATH NUL VALUE NUL", repeated. The length of the path decides the
// type of the leaf.
Leaves leaves_of(const std::string& bytes)
{
    Leaves leaves;
    std::size_t at = 0;
    const auto next = [&] {
        const std::size_t end = std::min(bytes.find('\0', at), bytes.size());
        const std::string part = bytes.substr(at, end - at);
        at = end + 1;
        return part;
    };
    while (at < bytes.size()) {
        const std::string path = next();
        const std::string value = at < bytes.size() ? next() : "";
        std::int32_t number = 0;
        std::memcpy(&number, value.data(), std::min(value.size(), sizeof number));
        if (path.size() % 3 == 0)
            leaves[path] = value;
        else if (path.size() % 3 == 1)
            leaves[path] = number;
        else
            leaves[path] = number % 2 != 0;
    }
    return leaves;
}

void write_store(const std::string& bytes)
{
    Leaves leaves = leaves_of(bytes);
    for (auto leaf = leaves.begin(); leaf != leaves.end();) {
        const std::string* held = std::get_if<std::string>(&leaf->second);
        const bool writable = is_utf8(leaf->first) && (held == nullptr || is_utf8(*held));
        leaf = writable ? std::next(leaf) : leaves.erase(leaf);
    }
    check_round_trip(leaves);
}

// Checks the parser of a single value, which `cdsctl set` uses. The parser must reject a space or a
// tab before or after the value.
void read_value(const std::string& text)
{
    LeafValue value;
    if (parse_value(text, value) != TomlReading::leaf_value)
        return;
    LeafValue again;
    check(parse_value(text + " ", again) == TomlReading::no_value &&
              parse_value("\t" + text, again) == TomlReading::no_value,
          "a space around a value is not accepted", text);
    check(parse_value(toml_value(value), again) == TomlReading::leaf_value && again == value,
          "a value that was read is written and read back equal", text);
    Leaves leaves;
    std::string error;
    check(parse_leaves("'/a' = " + text, "store.toml", leaves, error) &&
              leaves == Leaves{{"/a", value}},
          "a value alone and in a file are read as the same value", text);
}

// Checks that a 32-bit integer is read as the same number, and that any other integer is rejected.
void read_number(const std::string& bytes)
{
    std::int64_t number = 0;
    std::memcpy(&number, bytes.data(), std::min(bytes.size(), sizeof number));
    const std::string text = std::to_string(number);
    const bool fits = number >= INT32_MIN && number <= INT32_MAX;
    const auto narrow = static_cast<std::int32_t>(fits ? number : 0);

    Leaves leaves;
    std::vector<Fault> faults;
    std::string error;
    const bool is_leaf = parse_leaves("n = " + text, "store.toml", leaves, error);
    const bool is_result = parse_faults("[[fault]]\ncall = \"set_leaf\"\nresult = " + text,
                                        "store.toml", faults, error);
    check(is_leaf == fits && is_result == fits, "a 32-bit integer is accepted, and no other", text);
    check(!fits || (leaves == Leaves{{"n", narrow}} && faults.front().result == narrow),
          "an integer is read as the same number", text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    read_store(text);
    read_faults(text);
    write_store(text);
    read_number(text);
    read_value(text);
    return 0;
}
