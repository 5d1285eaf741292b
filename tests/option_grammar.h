// The grammar of the options list, which is read from tests/grammar.toml, and the batch that the
// program must write for an accepted list.
#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

using Names = std::vector<std::string>;

struct GrammarOption {
    std::string name;  // in upper case
    std::string group; // empty if the option is in no group
    Names leaves;      // the leaves that the option sets to true
};

// tests/grammar.toml explains the members.
struct OptionGrammar {
    std::size_t cleared_leaves;
    std::size_t known_texts;
    std::size_t longest_list;
    Names leaves;
    std::vector<GrammarOption> options;
    std::map<std::string, std::string> messages;
    std::map<std::string, Names> further_leaves;
};

// Returns the grammar. The first call reads the file. A failed read ends the process.
const OptionGrammar& option_grammar();

bool has(const Names& names, const std::string& name);

std::string lower(std::string text);

// Splits the list at its dashes. A word may be empty, for example between two dashes.
Names words_of(const std::string& list);

// Returns the options of a list if the program must accept the list. In an accepted list, every
// word is an option in upper or in lower case, no option occurs twice, and no two options are in
// the same exclusive group. Returns an empty set for any other list.
std::set<std::string> options_of(const std::string& list);

// Returns the path of an option's leaf: "/VMIC/Options/LEAF/Value".
std::string option_path(const std::string& leaf);

// Returns the text that the fake store records when the program writes the batch of an accepted
// list with these options.
std::string batch_of(const std::set<std::string>& options);
