#include "tests/option_grammar.h"

#define TOML_HEADER_ONLY 1
#include <toml++/toml.h>

#include <algorithm>
#include <cctype>

namespace
{

Names names_of(const toml::node& node)
{
    Names names;
    for (const toml::node& name : *node.as_array())
        names.push_back(name.ref<std::string>());
    return names;
}

OptionGrammar read_grammar()
{
    const toml::table file = toml::parse_file(GRAMMAR_FILE);
    const auto count = [&](const char* name) {
        return static_cast<std::size_t>(file.at(name).ref<std::int64_t>());
    };
    OptionGrammar grammar = {count("cleared_leaves"),
                             count("known_texts"),
                             count("longest_list"),
                             names_of(file.at("leaves")),
                             {},
                             {},
                             {}};
    for (const toml::node& row : *file.at("options").as_array()) {
        const toml::array& cells = *row.as_array();
        grammar.options.push_back({cells.at(0).ref<std::string>(), cells.at(1).ref<std::string>(),
                                   names_of(cells.at(2))});
    }
    for (const auto& [group, words] : *file.at("messages").as_table())
        grammar.messages[std::string(group)] = words.ref<std::string>();
    for (const auto& [option, leaves] : *file.at("further_leaves").as_table())
        grammar.further_leaves[std::string(option)] = names_of(leaves);
    return grammar;
}

void add(std::string& call, const Names& names, bool value)
{
    for (const std::string& name : names)
        call += " " + option_path(name) + (value ? "=true/1" : "=false/1");
}

// Returns the leaves that are set by an option for which `is_chosen` returns true. They are in the
// order of `leaves` in tests/grammar.toml.
template <typename Predicate>
Names leaves_that(const Predicate& is_chosen)
{
    Names chosen;
    for (const std::string& leaf : option_grammar().leaves) {
        for (const GrammarOption& option : option_grammar().options) {
            if (!has(chosen, leaf) && has(option.leaves, leaf) && is_chosen(option))
                chosen.push_back(leaf);
        }
    }
    return chosen;
}

Names without(Names names, const Names& others)
{
    names.erase(std::remove_if(names.begin(), names.end(),
                               [&](const std::string& name) { return has(others, name); }),
                names.end());
    return names;
}

Names further_leaves(const std::string& option)
{
    const auto row = option_grammar().further_leaves.find(option);
    return row == option_grammar().further_leaves.end() ? Names() : row->second;
}

} // namespace

const OptionGrammar& option_grammar()
{
    static const OptionGrammar grammar = read_grammar();
    return grammar;
}

bool has(const Names& names, const std::string& name)
{
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::string lower(std::string text)
{
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

Names words_of(const std::string& list)
{
    Names words = {""};
    for (const char c : list) {
        if (c == '-')
            words.emplace_back();
        else
            words.back() += c;
    }
    return words;
}

std::set<std::string> options_of(const std::string& list)
{
    std::set<std::string> options;
    std::set<std::string> groups;
    for (const std::string& word : words_of(list)) {
        const auto& rows = option_grammar().options;
        const auto row = std::find_if(rows.begin(), rows.end(), [&](const GrammarOption& option) {
            return word == option.name || word == lower(option.name);
        });
        if (row == rows.end() || !options.insert(row->name).second ||
            (option_grammar().messages.count(row->group) != 0 && !groups.insert(row->group).second))
            return {};
    }
    return options;
}

std::string option_path(const std::string& leaf)
{
    return "/VMIC/Options/" + leaf + "/Value";
}

std::string batch_of(const std::set<std::string>& options)
{
    const auto& rows = option_grammar().options;
    const auto is_named = [&](const GrammarOption& row) { return options.count(row.name) != 0; };
    std::string call = "set_leaves";
    for (auto row = rows.begin(); row != rows.end(); ++row) {
        const auto in_group = [&](const GrammarOption& option) {
            return option.name == row->name || (!row->group.empty() && option.group == row->group);
        };
        // Only the last row of a group adds leaves. The last row of "quality" also adds the leaves
        // of PQR.
        if (row->group == "ready" || (row + 1 != rows.end() && in_group(row[1])))
            continue;
        const auto chosen =
            std::find_if(rows.begin(), rows.end(), [&](const GrammarOption& option) {
                return in_group(option) && is_named(option);
            });
        const Names own = chosen != rows.end() ? chosen->leaves : Names();
        add(call, own, true);
        add(call, without(leaves_that(in_group), own), false);
        if (chosen != rows.end())
            add(call, without(further_leaves(chosen->name), leaves_that(is_named)), true);
        if (row->group == "quality" && options.count("PQR") != 0)
            add(call, further_leaves("PQR"), true);
        else if (row->group == "quality" && chosen == rows.end())
            add(call, further_leaves("PQR"), false);
    }
    return call + " \"\"";
}
