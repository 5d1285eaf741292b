// The options list as tests/grammar.toml states it, and what follows from that for a list that the
// program accepts.
#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

using Names = std::vector<std::string>;

struct GrammarOption {
    std::string name;  // in upper case
    std::string group; // "": of none
    Names leaves;      // that it sets
};

// The members are explained in the file.
struct OptionGrammar {
    std::size_t cleared_leaves;
    std::size_t known_texts;
    std::size_t longest_list;
    Names leaves;
    std::vector<GrammarOption> options;
    std::map<std::string, std::string> messages;
    std::map<std::string, Names> further_leaves;
};

// Read once; the process ends when the file cannot be read.
const OptionGrammar& option_grammar();

bool has(const Names& names, const std::string& name);

std::string lower(std::string text);

// The words of the list, separated by dashes; there are empty ones too.
Names words_of(const std::string& list);

// The options of a list that is to be accepted: every word is an option in upper or in lower case,
// none comes twice, and there is one of a group with a message. None for any other list.
std::set<std::string> options_of(const std::string& list);

// "/VMIC/Options/LEAF/Value"
std::string option_path(const std::string& leaf);

// The batch that such a list makes, as the fake store shows the call.
std::string batch_of(const std::set<std::string>& options);
