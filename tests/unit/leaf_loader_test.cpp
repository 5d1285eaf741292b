#include "store/leaf_loader.h"

#include "tests/unit/fake_store.h"

#include <doctest/doctest.h>

namespace
{

struct Loaded {
    EditableText text = {"before", false};
    bool moved = false;
};

using Loader = void (*)(EditableText&, LeafCursor&);

Loaded loaded(Loader load, api_status_t status, const toolkit::CElement& element,
              bool changed = false)
{
    const std::vector<api_status_t> statuses = {status};
    const std::vector<toolkit::CElement> elements = {element};
    LeafCursor next = {statuses.begin(), elements.begin()};
    Loaded result;
    result.text.changed = changed;
    load(result.text, next);
    result.moved = next.status == statuses.end() && next.element == elements.end();
    return result;
}

EditableFlag flag_loaded(api_status_t status, const toolkit::CElement& element, EditableFlag before,
                         bool fallback)
{
    const std::vector<api_status_t> statuses = {status};
    const std::vector<toolkit::CElement> elements = {element};
    LeafCursor next = {statuses.begin(), elements.begin()};
    load_flag(before, next, fallback);
    CHECK(next.status == statuses.end());
    CHECK(next.element == elements.end());
    return before;
}

} // namespace

TEST_CASE("a leaf of any type is loaded as its text")
{
    for (const Loaded& result : {loaded(load_text, 1, text_element("x")),
                                 loaded(load_string_text, 1, text_element("x"))}) {
        CHECK(result.text.text == "x");
        CHECK_FALSE(result.text.changed);
        CHECK(result.moved);
    }
    CHECK(loaded(load_text, 1, number_element(-3)).text.text == "-3");
    CHECK(loaded(load_text, 1, boolean_element(true)).text.text == "true");
}

TEST_CASE("a leaf of another type than string is loaded as empty where a string is required")
{
    for (const toolkit::CElement& element : {number_element(3), boolean_element(true)}) {
        const Loaded result = loaded(load_string_text, 1, element);
        CHECK(result.text.text == "");
        CHECK_FALSE(result.text.changed);
        CHECK(result.moved);
    }
}

TEST_CASE("a leaf with any other status is loaded as empty")
{
    for (const api_status_t status : {0, 2, -1, 5}) {
        for (Loader load : {&load_text, &load_string_text}) {
            const Loaded result = loaded(load, status, text_element("x"));
            CHECK(result.text.text == "");
            CHECK(result.moved);
        }
    }
}

TEST_CASE("loading does not overwrite an edit")
{
    for (Loader load : {&load_text, &load_string_text}) {
        for (const api_status_t status : {1, 2}) {
            const Loaded result = loaded(load, status, text_element("stored"), true);
            CHECK(result.text.text == "before");
            CHECK(result.text.changed);
            CHECK(result.moved);
        }
    }
}

TEST_CASE("a flag takes a readable boolean, and its fallback for anything else")
{
    for (const bool fallback : {false, true}) {
        CHECK(flag_loaded(1, boolean_element(true), {false, false}, fallback).value);
        CHECK_FALSE(flag_loaded(1, boolean_element(false), {true, false}, fallback).value);
        CHECK(flag_loaded(1, number_element(!fallback), {}, fallback).value == fallback);
        CHECK(flag_loaded(1, text_element("true"), {}, fallback).value == fallback);
        CHECK(flag_loaded(2, boolean_element(!fallback), {}, fallback).value == fallback);
        CHECK_FALSE(flag_loaded(1, boolean_element(true), {}, fallback).changed);
    }
}

TEST_CASE("an edited flag keeps its value")
{
    CHECK(flag_loaded(1, boolean_element(false), {true, true}, false).value);
    CHECK_FALSE(flag_loaded(2, boolean_element(true), {false, true}, true).value);
}

TEST_CASE("a table is read in one call and loaded row by row")
{
    FakeStore& store = fresh_store();
    store.leaves["/VMIC/SerialNumber/Value"] = text_element("091512345");
    store.leaves["/VMC/PrimCfg/Form/Value"] = number_element(3);
    store.leaves["/VMIC/Enclosure/Value"] = number_element(3);
    SettingsSession session;
    CHECK(load_leaves(init_leaves, session));
    CHECK(store.calls ==
          std::vector<std::string>{"get_leaves /VMIC/SerialNumber/Value /VMIC/OptionsList/Value"
                                   " /VMC/PrimCfg/Form/Value /VMC/PrimCfg/ClassAmps/Value"
                                   " /VMC/PrimCfg/NomFreq/Value /VMIC/Enclosure/Value"});
    CHECK(session.serial_number.text == "091512345");
    CHECK(session.meter_form.text == "3");
    CHECK(session.enclosure.text == "");
}

TEST_CASE("a read that fails leaves the values unchanged")
{
    FakeStore& store = fresh_store();
    SettingsSession session;
    session.primary_dns.text = "kept";
    store.results["get_leaves"] = {3};
    CHECK_FALSE(load_leaves(dns_leaves, session));
    CHECK(session.primary_dns.text == "kept");
}
