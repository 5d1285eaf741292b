#include "meterinit/option_leaves.h"

#include "tests/option_grammar.h"
#include "tests/unit/fake_store.h"

#include <doctest/doctest.h>

TEST_CASE("a batch is written in the order it was filled, triggers with the flag 0")
{
    FakeStore& store = fresh_store();
    begin_option_batch();
    add_option_leaf("/b", true);
    add_option_leaf("/a", false);
    add_option_leaf("/b", false);
    add_option_trigger("/t");
    CHECK(write_option_batch() == 0);
    CHECK(store.calls.back() == "set_leaves /b=true/1 /a=false/1 /b=false/1 /t=true/0 \"\"");
}

TEST_CASE("writing keeps the batch, and beginning a new one empties it")
{
    FakeStore& store = fresh_store();
    begin_option_batch();
    add_option_leaf("/a", true);
    store.results["set_leaves"] = {-4};
    CHECK(write_option_batch() == -4);
    CHECK(write_option_batch() == 0);
    CHECK(store.calls[0] == store.calls[1]);
    begin_option_batch();
    write_option_batch();
    CHECK(store.calls.back() == "set_leaves \"\"");
}

TEST_CASE("the current path is that of the leaf added last")
{
    begin_option_batch();
    add_option_leaf("/first", true);
    add_option_leaf("/last", true);
    std::vector<std::string> paths = {"/kept"};
    push_current_path(paths);
    CHECK(paths == std::vector<std::string>{"/kept", "/last"});
}

TEST_CASE("clearing empties the list and sets every option leaf but MID false, in one call")
{
    FakeStore& store = fresh_store();
    begin_option_batch();
    add_option_leaf("/kept", true);
    CHECK(clear_option_leaves() == 0);

    std::string expected = "set_leaves /VMIC/OptionsList/Value=\"\"/1";
    for (std::size_t i = 0; i < option_grammar().cleared_leaves; ++i)
        expected += " " + option_path(option_grammar().leaves[i]) + "=false/1";
    CHECK(store.calls.back() == expected + " \"\"");

    write_option_batch();
    CHECK(store.calls.back() == "set_leaves /kept=true/1 \"\"");
}

TEST_CASE("clearing again writes the same leaves once")
{
    const FakeStore& store = fresh_store();
    clear_option_leaves();
    clear_option_leaves();
    REQUIRE(store.calls.size() == 2);
    CHECK(store.calls[0] == store.calls[1]);
}

TEST_CASE("options stay pending when a new batch begins")
{
    set_options_pending(true);
    begin_option_batch();
    CHECK(are_options_pending());
    set_options_pending(false);
}

TEST_CASE("clearing returns the library's result")
{
    fresh_store().results["set_leaves"] = {12};
    CHECK(clear_option_leaves() == 12);
}
