#include "tests/simulator/test_meter.h"

#include <doctest/doctest.h>

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>

namespace
{

// Calls `pcd_init`, which must fail. Returns the message on standard error.
std::string init_error()
{
    pcd_connection* connection = nullptr;
    std::string said = standard_error_of([&] { connection = pcd_init(0); });
    CHECK(connection == nullptr);
    pcd_close(connection);
    return said;
}

} // namespace

TEST_CASE("a connection prints nothing, even to an empty store")
{
    const TestMeter meter("");
    CHECK(standard_error_of([] { TestStore store; }) == "");
}

TEST_CASE("two connections are two handles")
{
    const TestMeter meter("");
    TestStore one;
    TestStore other;
    CHECK(one.handle != other.handle);
}

TEST_CASE("without METER_SIM_DIR there is no connection")
{
    const TestMeter meter("");
    setenv("METER_SIM_DIR", "", 1);
    CHECK(init_error() == "METER_SIM_DIR is not set to the folder of a simulated meter\n");
    unsetenv("METER_SIM_DIR");
    CHECK(init_error() == "METER_SIM_DIR is not set to the folder of a simulated meter\n");
}

TEST_CASE("the error for a missing store names it and the reason")
{
    const TestMeter meter("");
    std::filesystem::remove(meter.path("store.toml"));
    CHECK(init_error() ==
          meter.path("store.toml") + ": cannot be read: No such file or directory\n");
    std::filesystem::create_directory(meter.path("store.toml"));
    CHECK(init_error() == meter.path("store.toml") + ": cannot be read: Is a directory\n");
}

TEST_CASE("a pipe in place of the store is rejected without waiting for a writer")
{
    const TestMeter meter("");
    std::filesystem::remove(meter.path("store.toml"));
    REQUIRE(mkfifo(meter.path("store.toml").c_str(), 0600) == 0);
    CHECK(init_error() == meter.path("store.toml") + ": cannot be read: Invalid argument\n");
}

TEST_CASE("the error for a broken store is one line with line number and reason")
{
    const TestMeter meter("\"/a\" = 1\n\"/b\" = \n");
    const std::string said = init_error();
    CHECK(said.rfind(meter.path("store.toml") + ":2: ", 0) == 0);
    CHECK(said.size() > (meter.path("store.toml") + ":2: \n").size());
    CHECK(said.find('\n') == said.size() - 1);
}

TEST_CASE("the error for a leaf of another type has its line")
{
    const TestMeter meter("\"/a\" = 1\n\n\"/line\\nbreak\" = 1.5\n");
    CHECK(init_error() ==
          meter.path("store.toml") +
              ":3: leaf \"/line\\nbreak\" is not a string, a boolean or an integer of "
              "32 bits\n");
}

TEST_CASE("a store can be opened after it is repaired")
{
    const TestMeter meter("broken");
    init_error();
    meter.write("store.toml", "\"/a\" = 1\n");
    TestStore store;
    CHECK(get(store, {"/a"}) == "0: 1 1");
}

TEST_CASE("the message is one line, whatever the name of the directory")
{
    const TestMeter meter("");
    setenv("METER_SIM_DIR", (meter.folder + "/no\nsuch").c_str(), 1);
    CHECK(init_error() == meter.folder + "/no?such/store.toml: cannot be read: No such file or "
                                         "directory\n");
    setenv("METER_SIM_DIR", (meter.folder + "/~ \x1f\x7f\xc3\xa4").c_str(), 1);
    CHECK(init_error() == meter.folder +
                              "/~ ??\xc3\xa4/store.toml: cannot be read: No such file or "
                              "directory\n");
}

TEST_CASE("another directory is another meter")
{
    const TestMeter first("\"/a\" = 1\n");
    TestStore store;
    CHECK(get(store, {"/a"}) == "0: 1 1");
    std::filesystem::create_directory(first.path("other"));
    first.write("other/store.toml", "\"/a\" = 2\n");
    setenv("METER_SIM_DIR", first.path("other").c_str(), 1);
    TestStore other;
    CHECK(get(other, {"/a"}) == "0: 1 2");
}

TEST_CASE("the error for a store names this store, even if another store has the same error")
{
    const TestMeter meter("broken");
    std::filesystem::create_directory(meter.path("other"));
    meter.write("other/store.toml", "broken");
    CHECK(init_error().rfind(meter.path("store.toml") + ":1: ", 0) == 0);
    setenv("METER_SIM_DIR", meter.path("other").c_str(), 1);
    CHECK(init_error().rfind(meter.path("other/store.toml") + ":1: ", 0) == 0);
}
