#include "simulator/meter_store.h"
#include "tests/simulator/test_meter.h"

#include <doctest/doctest.h>

#include <new>

using namespace simulator;

namespace
{

MeterStore store_in(const TestMeter& meter)
{
    MeterStore store;
    store.folder = meter.folder;
    return store;
}

} // namespace

TEST_CASE("an edit works on the leaves as they are in the file by then")
{
    const TestMeter meter("\"/a\" = 1\n");
    MeterStore store = store_in(meter);
    std::string error;
    REQUIRE(refresh_leaves(store, error));
    meter.write("store.toml", "\"/a\" = 2\n\"/b\" = 3\n");
    Leaves seen;
    CHECK(edit_leaves(
        store,
        [&](Leaves& leaves, std::string&) {
            seen = leaves;
            leaves.erase("/a");
            return true;
        },
        error));
    CHECK(seen == Leaves{{"/a", std::int32_t{2}}, {"/b", std::int32_t{3}}});
    CHECK(store.leaves == Leaves{{"/b", std::int32_t{3}}});
    CHECK(meter.read("store.toml") == "\"/b\" = 3\n");
}

TEST_CASE("a refused edit changes nothing and keeps its reason")
{
    const TestMeter meter("\"/a\" = 1\n");
    MeterStore store = store_in(meter);
    std::string error;
    CHECK_FALSE(edit_leaves(
        store,
        [](Leaves& leaves, std::string& reason) {
            leaves.clear();
            reason = "not today";
            return false;
        },
        error));
    CHECK(error == "not today");
    CHECK(store.leaves == Leaves{{"/a", std::int32_t{1}}});
    CHECK(meter.read("store.toml") == "\"/a\" = 1\n");
}

TEST_CASE("an edit that the memory cannot hold changes nothing and says so")
{
    const TestMeter meter("\"/a\" = 1\n");
    MeterStore store = store_in(meter);
    std::string error;
    CHECK_FALSE(edit_leaves(
        store,
        [](Leaves& leaves, std::string&) -> bool {
            leaves.clear();
            throw std::bad_alloc();
        },
        error));
    CHECK(error == meter.path("store.toml") + ": cannot be read: Cannot allocate memory");
    CHECK(store.leaves == Leaves{{"/a", std::int32_t{1}}});
    CHECK(meter.read("store.toml") == "\"/a\" = 1\n");
}

TEST_CASE("an edit that the file cannot hold names the leaf")
{
    const TestMeter meter("");
    MeterStore store = store_in(meter);
    std::string error;
    CHECK_FALSE(edit_leaves(
        store,
        [](Leaves& leaves, std::string&) {
            leaves["/a"] = std::string("\xFF");
            return true;
        },
        error));
    CHECK(error == meter.path("store.toml") + ": leaf \"/a\" is not UTF-8 text");
}

TEST_CASE("a folder that is not there is named")
{
    MeterStore store;
    store.folder = TEST_FOLDER "/no such meter";
    std::string error;
    const auto edit = [](Leaves&, std::string&) { return true; };
    CHECK_FALSE(edit_leaves(store, edit, error));
    CHECK(error == store.folder + ": cannot be locked: No such file or directory");
    CHECK_FALSE(refresh_leaves(store, error));
    CHECK(error == store.folder + "/store.toml: cannot be read: No such file or directory");
    CHECK_FALSE(replace_store(store.folder, "", error));
    CHECK(error == store.folder + ": cannot be locked: No such file or directory");
}

TEST_CASE("a failed reading leaves an empty error once it succeeds again")
{
    const TestMeter meter("broken");
    MeterStore store = store_in(meter);
    std::string error;
    CHECK_FALSE(refresh_leaves(store, error));
    CHECK_FALSE(refresh_leaves(store, error));
    CHECK(store.parses == 1); // the same bytes have the same error
    CHECK(error != "");
    meter.write("store.toml", "\"/a\" = 1\n");
    CHECK(refresh_leaves(store, error));
    CHECK(error == "");
}

TEST_CASE("a settled file is known by its stamp")
{
    const TestMeter meter("\"/a\" = 1\n");
    MeterStore store = store_in(meter);
    std::string error;
    let_file_settle();
    REQUIRE(refresh_leaves(store, error));
    CHECK(store.stamp);
}

TEST_CASE("a young file is not known by its stamp")
{
    const TestMeter meter("");
    MeterStore store = store_in(meter);
    std::string error;
    bool known = true;
    for (int i = 0; known && i < 50; ++i) { // on a busy machine a file may be old when it is read
        meter.write("store.toml", "");
        REQUIRE(refresh_leaves(store, error));
        known = store.stamp.has_value();
    }
    CHECK_FALSE(known);
}

TEST_CASE("a store is replaced by other bytes as they are")
{
    const TestMeter meter("\"/a\" = 1\n");
    std::string error;
    CHECK(replace_store(meter.folder, "# new\n\"/b\" = 2\n", error));
    CHECK(meter.read("store.toml") == "# new\n\"/b\" = 2\n");
}
