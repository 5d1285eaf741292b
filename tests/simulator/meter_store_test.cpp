#include "simulator/meter_store.h"
#include "tests/simulator/changed_stamps.h"
#include "tests/simulator/test_meter.h"

#include <doctest/doctest.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <ctime>
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

std::string refreshed(MeterStore& store)
{
    std::string error;
    REQUIRE(refresh_leaves(store, error));
    return std::to_string(std::get<std::int32_t>(store.leaves.at("/a")));
}

// Times as FAT keeps them.
void to_two_seconds(timespec& time)
{
    time.tv_sec -= time.tv_sec % 2;
    time.tv_nsec = 0;
}

// Times as some other file systems keep them.
void to_seconds(timespec& time)
{
    time.tv_nsec = 0;
}

// A clock that has stopped long ago.
void to_one_moment(timespec& time)
{
    time = {1, 1};
}

void set_modified(const TestMeter& meter, const timespec& time)
{
    const timespec times[] = {time, time};
    REQUIRE(utimensat(AT_FDCWD, meter.path("store.toml").c_str(), times, 0) == 0);
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

TEST_CASE("a file whose times are whole seconds is read by every call")
{
    for (const auto change : {to_seconds, to_two_seconds}) {
        const TestMeter meter("\"/a\" = 1\n");
        MeterStore store = store_in(meter);
        const ChangedStamps coarse(change);
        for (int i = 0; i < 3; ++i) {
            let_file_settle();
            meter.write("store.toml", "\"/a\" = 1\n");
            let_file_settle();
            CHECK(refreshed(store) == "1");
            meter.write("store.toml", "\"/a\" = 2\n");
            CHECK(refreshed(store) == "2");
        }
        CHECK_FALSE(store.stamp);
    }
}

TEST_CASE("either time of a file in whole seconds is too coarse to trust")
{
    const TestMeter meter("\"/a\" = 1\n");
    MeterStore store = store_in(meter);
    set_modified(meter, {1000, 0});
    let_file_settle();
    CHECK(refreshed(store) == "1");
    CHECK_FALSE(store.stamp);
    const unsigned parses = store.parses;
    CHECK(refreshed(store) == "1");
    CHECK(store.parses == parses); // read again, not parsed again
}

TEST_CASE("a modification time in the future is as good as one in the past")
{
    const TestMeter meter("\"/a\" = 1\n");
    MeterStore store = store_in(meter);
    set_modified(meter, {std::time(nullptr) + 3600, 1});
    let_file_settle();
    CHECK(refreshed(store) == "1");
    CHECK(store.stamp);
}

TEST_CASE("a write reads the file whatever its stamp says")
{
    const TestMeter meter("\"/a\" = 1\n");
    MeterStore store = store_in(meter);
    const ChangedStamps stopped(to_one_moment);
    REQUIRE(refreshed(store) == "1");
    REQUIRE(store.stamp);
    meter.write("store.toml", "\"/a\" = 2\n");
    std::string error;
    const auto edit = [](Leaves& leaves, std::string&) {
        leaves["/b"] = true;
        return true;
    };
    CHECK(edit_leaves(store, edit, error));
    CHECK(meter.read("store.toml") == "\"/a\" = 2\n\"/b\" = true\n");
}

TEST_CASE("a store is replaced by other bytes as they are")
{
    const TestMeter meter("\"/a\" = 1\n");
    std::string error;
    CHECK(replace_store(meter.folder, "# new\n\"/b\" = 2\n", error));
    CHECK(meter.read("store.toml") == "# new\n\"/b\" = 2\n");
}
