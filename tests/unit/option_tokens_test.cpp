#include "meterinit/option_tokens.h"

#include "tests/option_grammar.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <string>
#include <utility>

// These tests run the checks of the tables on tables that the checks must reject. The compiler runs
// the same checks on the program's own tables.

TEST_CASE("a token that begins another one is rejected")
{
    const auto accepted = [](TokenText one, TokenText other) {
        const OptionToken tokens[] = {{{"WEB"}, OptionGroup::single, 0},
                                      {one, OptionGroup::single, 0},
                                      {other, OptionGroup::serial, 0}};
        return no_token_begins_another(tokens);
    };
    CHECK(accepted({"5"}, {"6"}));
    CHECK(accepted({"5G"}, {"6G"}));
    CHECK(accepted({"X5"}, {"5"}));
    CHECK_FALSE(accepted({"5"}, {"5G"}));
    CHECK_FALSE(accepted({"5G"}, {"5"}));
    CHECK_FALSE(accepted({"5"}, {"5"}));
    CHECK_FALSE(accepted({"5"}, {"WEBX"}));
}

TEST_CASE("members of a group that are not adjacent are rejected")
{
    const auto accepted = [](OptionGroup second, OptionGroup third, OptionGroup fourth) {
        const OptionToken tokens[] = {{{"A"}, OptionGroup::serial, 0},
                                      {{"B"}, second, 0},
                                      {{"C"}, third, 0},
                                      {{"D"}, fourth, 0}};
        return members_are_neighbours(tokens);
    };
    constexpr OptionGroup serial = OptionGroup::serial;
    constexpr OptionGroup modem = OptionGroup::modem;
    constexpr OptionGroup single = OptionGroup::single;
    CHECK(accepted(serial, modem, modem));
    CHECK(accepted(single, modem, single));
    CHECK_FALSE(accepted(modem, serial, serial));
    CHECK_FALSE(accepted(single, single, serial));
    CHECK_FALSE(accepted(serial, modem, serial));
}

TEST_CASE("a group without a message, and messages in another order, are rejected")
{
    GroupMessage messages[std::size(group_messages)] = {};
    std::copy(std::begin(group_messages), std::end(group_messages), messages);
    CHECK(each_group_has_its_message(messages));
    std::swap(messages[1], messages[2]);
    CHECK_FALSE(each_group_has_its_message(messages));
    const GroupMessage two_groups[] = {{OptionGroup::serial, ""}, {OptionGroup::ethernet, ""}};
    CHECK_FALSE(each_group_has_its_message(two_groups));
}

TEST_CASE("a token that sets a leaf of another group is rejected, except PQR")
{
    const auto accepted = [](TokenText text, OptionGroup group, LeafSet set) {
        const OptionToken tokens[] = {{{"A"}, OptionGroup::single, leaf_named("Web")},
                                      {text, group, set}};
        return leaves_are_in_their_groups(tokens);
    };
    CHECK(accepted({"2D"}, OptionGroup::ethernet, leaves("Ethernet/2", "Ethernet/Wifi")));
    CHECK(accepted({"PQR"}, OptionGroup::power_quality, leaves("PQ")));
    CHECK_FALSE(accepted({"PQ4"}, OptionGroup::power_quality, leaves("PQ")));
    CHECK_FALSE(accepted({"2D"}, OptionGroup::ethernet, leaves("Ethernet/1", "Web")));
    CHECK_FALSE(accepted({"B"}, OptionGroup::single, leaves("Web", "Serial/1")));
}

TEST_CASE("a leaf that no token sets is rejected")
{
    const LeafSet all = (LeafSet{1} << std::size(option_leaves)) - 1;
    const auto accepted = [](LeafSet one, LeafSet other) {
        const OptionToken tokens[] = {{{"A"}, OptionGroup::single, one},
                                      {{"B"}, OptionGroup::single, other}};
        return every_leaf_is_set(tokens);
    };
    CHECK(accepted(all, 1));
    CHECK(accepted(1, all - 1));
    CHECK_FALSE(accepted(all - 1, 2));
    CHECK_FALSE(accepted(leaf_named("MID") - 1, 0));
}

// The program declares this function but does not define it, so that an unknown name in a table
// does not compile. Here, an unknown name throws.
void name_is_not_in_table()
{
    throw std::out_of_range("no such name");
}

TEST_CASE("a leaf is found by its name, a token by its text")
{
    CHECK_THROWS_AS(leaf_named("Serial"), std::out_of_range);
    CHECK_THROWS_AS(leaf_named("Serial/11"), std::out_of_range);
    CHECK_THROWS_AS(token_named("PQ"), std::out_of_range);
    CHECK(token_named("PQ2").leaves == leaf_named("PQ2"));
    const LeafSet first = leaf_named("Serial/1");
    LeafSet two = 0;
    // This must be an assignment, because the compiler would evaluate an initialiser and the
    // function would never run.
    // cppcheck-suppress redundantInitialization
    two = leaves("Serial/1", "Serial/3");
    const LeafSet mid = leaf_named("MID");
    const LeafSet qualities = leaves("PQ1", "PQ2", "PQ3");
    CHECK(first == 1);
    CHECK(two == 5);
    CHECK(mid == LeafSet{1} << option_grammar().cleared_leaves);
    CHECK(leaves_of(OptionGroup::serial) == 7);
    CHECK(leaves_of(OptionGroup::power_quality) == qualities);
    CHECK((cleared_leaves & mid) == 0);
    CHECK((cleared_leaves | mid) == 2 * mid - 1);
}

TEST_CASE("the lower form changes only letters")
{
    CHECK(std::string(lower_form({"A@Z["}).data()) == "a@z[");
    CHECK(std::string(lower_form({"`az{"}).data()) == "`az{");
    CHECK(has_lower_form({{"1A"}, OptionGroup::single, 0}));
    CHECK_FALSE(has_lower_form({{"4"}, OptionGroup::single, 0}));
}

TEST_CASE("the diagnostic accepts both forms of every token except MID, in this order")
{
    Names known;
    for (const GrammarOption& option : option_grammar().options) {
        for (const std::string& form : {option.name, lower(option.name)}) {
            if (option.name != "MID" && (known.empty() || known.back() != form))
                known.push_back(form);
        }
    }
    CHECK(known.size() == option_grammar().known_texts);
    // This must be an assignment, because the compiler would evaluate an initialiser and the
    // function would never run.
    auto tokens = valid_tokens;
    // cppcheck-suppress redundantInitialization
    tokens = collect_valid_tokens();
    Names texts;
    for (const TokenText& token : tokens)
        texts.emplace_back(token.data());
    CHECK(texts == known);
    std::size_t count = 0;
    // cppcheck-suppress redundantInitialization
    count = count_valid_tokens();
    CHECK(count == known.size());
}
