// The grammar of the options list, read from tests/grammar.toml, and the results that the program
// must produce for an accepted list.
#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

using Names = std::vector<std::string>;

struct GrammarOption {
    std::string name;  // in upper case
    std::string group; // empty: in no group
    Names leaves;      // set to true by this option
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

// Returns the grammar. The first call reads the file, and ends the process when it cannot be read.
const OptionGrammar& option_grammar();

bool has(const Names& names, const std::string& name);

std::string lower(std::string text);

// Splits the list at its dashes. Some of the words may be empty.
Names words_of(const std::string& list);

// Returns the options of a list that the program must accept: every word is an option in upper or
// in lower case, no option occurs twice, and no two options are in the same exclusive group.
// Returns an empty set for any other list.
std::set<std::string> options_of(const std::string& list);

// "/VMIC/Options/LEAF/Value"
std::string option_path(const std::string& leaf);

// Returns the call that writes the batch of such a list, as the fake store records it.
std::string batch_of(const std::set<std::string>& options);
