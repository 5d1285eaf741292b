// Operations of cdsctl on the text of a store, for the web page. The page calls these functions in
// an instance of the WebAssembly that does not run the program.
//
// A returned text is valid until the next call. When `store_tools_failed` returns 1, the last
// returned text is an error message: "store.toml:LINE: REASON", or the reason alone.

#include "simulator/cdsctl/changes.h"
#include "simulator/cdsctl/json_text.h"
#include "simulator/cdsctl/value_words.h"
#include "simulator/meter_store.h"
#include "simulator/toml_files.h"
#include "simulator/toml_text.h"

#include <utility>

namespace
{

using namespace simulator;

std::string answer;
bool failed = false;

const char* give(std::string text)
{
    failed = false;
    answer = std::move(text);
    return answer.c_str();
}

const char* give_error(std::string text)
{
    failed = true;
    answer = std::move(text);
    return answer.c_str();
}

// Parses `text`. Returns the result of `use` for the leaves, or the parser's error message.
template <typename Use>
const char* with_leaves(const char* text, Use use)
{
    Leaves leaves;
    std::string error;
    return parse_leaves(text, store_file, leaves, error) ? use(leaves) : give_error(error);
}

// Parses both texts. Returns the result of `use` for the changes between them, or the parser's
// first error message.
template <typename Use>
const char* with_changes(const char* before_text, const char* after_text, Use use)
{
    return with_leaves(before_text, [&](const Leaves& before) {
        return with_leaves(after_text, [&](const Leaves& after) {
            return give(use(cdsctl::changes_between(before, after)));
        });
    });
}

std::string change_lines(const std::vector<cdsctl::Change>& changes)
{
    std::string lines;
    for (const cdsctl::Change& change : changes)
        lines += cdsctl::change_line(change) + "\n";
    return lines;
}

} // namespace

extern "C" {

int store_tools_failed()
{
    return failed ? 1 : 0;
}

// Returns the leaves as a JSON object.
const char* store_leaves(const char* text)
{
    return with_leaves(text, [](const Leaves& leaves) {
        return give(cdsctl::json_leaves({leaves.begin(), leaves.end()}));
    });
}

// Sets one leaf as `cdsctl set` does, and returns the new text of the store. An existing leaf keeps
// its type.
const char* store_set(const char* text, const char* path, const char* word)
{
    return with_leaves(text, [&](Leaves& leaves) {
        const auto leaf = leaves.find(path);
        LeafValue value;
        std::string reason;
        if (!cdsctl::read_value_word(word, "", leaf == leaves.end() ? nullptr : &leaf->second,
                                     value, reason))
            return give_error(reason);
        leaves[path] = value;
        return give(toml_text(leaves));
    });
}

// Returns the store's text without one leaf.
const char* store_clear(const char* text, const char* path)
{
    return with_leaves(text, [&](Leaves& leaves) {
        leaves.erase(path);
        return give(toml_text(leaves));
    });
}

// Returns the changes from `before` to `after` as JSON.
const char* store_changes(const char* before, const char* after)
{
    return with_changes(before, after, cdsctl::json_changes);
}

// Returns the changes from `before` to `after` as `cdsctl diff` prints them.
const char* store_diff(const char* before, const char* after)
{
    return with_changes(before, after, change_lines);
}

// Returns an empty text, or an error message when `text` is not a valid faults.toml.
const char* faults_check(const char* text)
{
    std::vector<Fault> faults;
    std::string error;
    return parse_faults(text, "faults.toml", faults, error) ? give("") : give_error(error);
}
}
