#include "simulator/meter.h"
#include "tests/simulator/test_meter.h"

#include <doctest/doctest.h>

#include <filesystem>

namespace
{

constexpr char two_leaves[] = "\"/a\" = 1\n\"/b\" = 2\n";

// A meter with two leaves and the given faults.
struct FaultyMeter : TestMeter {
    explicit FaultyMeter(const std::string& faults) : TestMeter(two_leaves)
    {
        write("faults.toml", faults);
    }
};

std::string fault(const std::string& keys)
{
    return "[[fault]]\n" + keys + "\n";
}

bool connects()
{
    pcd_connection* connection = nullptr;
    standard_error_of([&] { connection = pcd_init(0); });
    pcd_close(connection);
    return connection != nullptr;
}

std::string get_both(toolkit::CCds& store)
{
    return get(store, {"/a", "/b"});
}

constexpr char both_as_stored[] = "0: 1 1, 1 2";

} // namespace

TEST_CASE("a fault's result is returned, and the leaves are not read")
{
    const FaultyMeter meter(fault("call = 'get_leaves'\nresult = 7"));
    TestStore store;
    CHECK(get_both(store) == "7: 0 '', 0 ''");
}

TEST_CASE("a fault's result is returned, and the leaves are not written")
{
    const FaultyMeter meter(fault("call = 'set_leaf'\nresult = -1") +
                            fault("call = 'set_leaves'\nresult = -2") +
                            fault("call = 'clear_leaves'\nresult = 3"));
    TestStore store;
    CHECK(set(store, "/a", integer(9)) == "-1: 0");
    CHECK(set_all(store, {"/a", "/c"}, {integer(9), integer(9)}) == "-2: 0 0");
    CHECK(clear(store, {"/a", "/b"}) == "3: 0 0");
    CHECK(meter.read("store.toml") == two_leaves);
}

TEST_CASE("a fault hits only the call that it names")
{
    const FaultyMeter meter(fault("call = 'set_leaves'\nresult = -1"));
    TestStore store;
    CHECK(get_both(store) == both_as_stored);
    CHECK(set(store, "/a", integer(9)) == "0: 1");
    CHECK(clear(store, {"/b"}) == "0: 1");
    CHECK(set_all(store, {"/a"}, {integer(1)}) == "-1: 0");
}

TEST_CASE("a fault with a path hits only the calls that name the leaf")
{
    const FaultyMeter meter(fault("call = 'get_leaves'\npath = '/b'\nresult = -1"));
    TestStore store;
    CHECK(get(store, {"/a"}) == "0: 1 1");
    CHECK(get(store, {}) == "0:");
    CHECK(get(store, {"/a", "/b"}) == "-1: 0 '', 0 ''");
}

TEST_CASE("a status without a path applies to every leaf of the call")
{
    const FaultyMeter meter(
        fault("call = 'get_leaves'\nstatus = 5") + fault("call = 'set_leaves'\nstatus = 6") +
        fault("call = 'set_leaf'\nstatus = 7") + fault("call = 'clear_leaves'\nstatus = 8"));
    TestStore store;
    CHECK(get_both(store) == "0: 5 '', 5 ''");
    CHECK(set_all(store, {"/a", "/c"}, {integer(9), integer(9)}) == "0: 6 6");
    CHECK(set(store, "/a", integer(9)) == "0: 7");
    CHECK(clear(store, {"/a", "/b"}) == "0: 8 8");
    CHECK(meter.read("store.toml") == two_leaves);
}

TEST_CASE("a status with a path keeps only that leaf from being read")
{
    const FaultyMeter meter(fault("call = 'get_leaves'\npath = '/a'\nstatus = 5"));
    TestStore store;
    CHECK(get(store, {"/b", "/a", "/none", "/a"}) == "0: 1 2, 5 '', 2 '', 5 ''");
}

TEST_CASE("a status with a path keeps only that leaf from being written")
{
    const FaultyMeter meter(fault("call = 'set_leaves'\npath = '/a'\nstatus = 5") +
                            fault("call = 'clear_leaves'\npath = '/a'\nstatus = 0"));
    TestStore store;
    CHECK(set_all(store, {"/a", "/c"}, {integer(9), integer(9)}) == "0: 5 1");
    CHECK(meter.read("store.toml") == "\"/a\" = 1\n\"/b\" = 2\n\"/c\" = 9\n");
    CHECK(clear(store, {"/b", "/a"}) == "0: 1 0");
    CHECK(meter.read("store.toml") == "\"/a\" = 1\n\"/c\" = 9\n");
}

TEST_CASE("a leaf with an injected status of 1 is still an empty string element")
{
    const FaultyMeter meter(fault("call = 'get_leaves'\npath = '/a'\nstatus = 1"));
    TestStore store;
    CHECK(get_both(store) == "0: 1 '', 1 2");
}

TEST_CASE("with a result and a status, the other leaves have status 0")
{
    const FaultyMeter meter(fault("call = 'get_leaves'\npath = '/a'\nresult = -3\nstatus = 5") +
                            fault("call = 'set_leaves'\nresult = -3\nstatus = 1"));
    TestStore store;
    CHECK(get_both(store) == "-3: 5 '', 0 ''");
    CHECK(set_all(store, {"/a", "/c"}, {integer(9), integer(9)}) == "-3: 1 1");
    CHECK(meter.read("store.toml") == two_leaves);
}

TEST_CASE("a fault with result 0 or without any effect does not change the call")
{
    const FaultyMeter meter(fault("call = 'get_leaves'\nresult = 0") + fault("call = 'set_leaf'"));
    TestStore store;
    CHECK(get_both(store) == both_as_stored);
    CHECK(set(store, "/a", integer(9)) == "0: 1");
    CHECK(meter.read("store.toml") == "\"/a\" = 9\n\"/b\" = 2\n");
}

TEST_CASE("\"after\" is the number of matching calls that pass, \"times\" the number that are hit")
{
    const FaultyMeter meter(fault("call = 'get_leaves'\nresult = -1\nafter = 2\ntimes = 1"));
    TestStore store;
    CHECK(get(store, {"/a"}) == "0: 1 1");
    CHECK(get(store, {"/a"}) == "0: 1 1");
    CHECK(get(store, {"/a"}) == "-1: 0 ''");
    CHECK(get(store, {"/a"}) == "0: 1 1");
}

TEST_CASE("only matching calls count")
{
    const FaultyMeter meter(fault("call = 'get_leaves'\npath = '/a'\nresult = -1\nafter = 1"));
    TestStore store;
    CHECK(get(store, {"/b"}) == "0: 1 2");
    CHECK(set(store, "/a", integer(3)) == "0: 1");
    CHECK(get(store, {"/a"}) == "0: 1 3");
    CHECK(get(store, {"/a"}) == "-1: 0 ''");
    CHECK(get(store, {"/a"}) == "-1: 0 ''"); // without "times", the hits have no limit
}

TEST_CASE("a \"times\" of 0 hits no call")
{
    const FaultyMeter meter(fault("call = 'get_leaves'\nresult = -1\ntimes = 0"));
    TestStore store;
    CHECK(get_both(store) == both_as_stored);
}

TEST_CASE("of several matching faults only the first that is due applies and counts the hit")
{
    const FaultyMeter meter(fault("call = 'get_leaves'\nresult = 1\ntimes = 1") +
                            fault("call = 'get_leaves'\nresult = 2\ntimes = 1"));
    TestStore store;
    CHECK(get(store, {"/a"}) == "1: 0 ''");
    CHECK(get(store, {"/a"}) == "2: 0 ''");
    CHECK(get(store, {"/a"}) == "0: 1 1");
}

TEST_CASE("every matching fault counts a call for its \"after\", whichever applies")
{
    const FaultyMeter meter(fault("call = 'get_leaves'\nresult = 1\ntimes = 2") +
                            fault("call = 'get_leaves'\nresult = 2\nafter = 2\ntimes = 1") +
                            fault("call = 'get_leaves'\nresult = 3\nafter = 5"));
    TestStore store;
    std::string results;
    for (int i = 0; i < 6; ++i)
        results += get(store, {"/a"})[0];
    CHECK(results == "112003");
}

TEST_CASE("a fault does not count a hit of another fault")
{
    const FaultyMeter meter(fault("call = 'get_leaves'\npath = '/b'\nresult = 1\ntimes = 1") +
                            fault("call = 'get_leaves'\nresult = 2\ntimes = 1"));
    TestStore store;
    CHECK(get(store, {"/a"}) == "2: 0 ''");
    CHECK(get(store, {"/b"}) == "1: 0 ''");
    CHECK(get(store, {"/b"}) == "0: 1 2");
}

TEST_CASE("any fault without a path makes pcd_init fail with one line that names it")
{
    for (const char* keys : {"", "result = 0", "result = -1\nstatus = 5", "status = 1"}) {
        CAPTURE(keys);
        const FaultyMeter meter("\n" + fault("call = 'pcd_init'\n" + std::string(keys)));
        pcd_connection* connection = nullptr;
        CHECK(standard_error_of([&] { connection = pcd_init(0); }) ==
              meter.path("faults.toml") + ":2: pcd_init fails\n");
        CHECK(connection == nullptr);
    }
}

TEST_CASE("pcd_init has no leaf, so a fault with a path does not hit it")
{
    const FaultyMeter meter(fault("call = 'pcd_init'\npath = '/a'"));
    CHECK(connects());
}

TEST_CASE("\"after\" and \"times\" count connections")
{
    const FaultyMeter meter(fault("call = 'pcd_init'\nafter = 1\ntimes = 2"));
    CHECK(connects());
    CHECK_FALSE(connects());
    CHECK_FALSE(connects());
    CHECK(connects());
}

TEST_CASE("a fault of pcd_init with a \"times\" of 0 never makes it fail")
{
    const FaultyMeter meter(fault("call = 'pcd_init'\nresult = -1\ntimes = 0"));
    CHECK(connects());
    CHECK(connects());
}

TEST_CASE("a connection counts even when the store cannot be read")
{
    const FaultyMeter meter(fault("call = 'pcd_init'\nafter = 1\ntimes = 1"));
    meter.write("store.toml", "broken");
    CHECK_FALSE(connects());
    meter.write("store.toml", two_leaves);
    CHECK_FALSE(connects());
    CHECK(connects());
}

TEST_CASE("without a connection no fault applies or counts")
{
    const FaultyMeter meter(fault("call = 'get_leaves'\nresult = 4\nstatus = 5\ntimes = 1"));
    toolkit::CCds unconnected;
    CHECK(get_both(unconnected) == "-1: 0 '', 0 ''");
    TestStore store;
    CHECK(get_both(store) == "4: 5 '', 5 ''");
}

TEST_CASE("a fault applies even to a store that cannot be read")
{
    const FaultyMeter meter(fault("call = 'get_leaves'\nresult = 4\nstatus = 5\ntimes = 1") +
                            fault("call = 'get_leaves'\npath = '/a'\nstatus = 6\ntimes = 1") +
                            fault("call = 'set_leaves'\npath = '/a'\nstatus = 1") +
                            fault("call = 'clear_leaves'\nstatus = 7"));
    TestStore store;
    meter.write("store.toml", "broken");
    CHECK(get_both(store) == "4: 5 '', 5 ''");
    CHECK(get_both(store) == "-1: 6 '', 0 ''");
    CHECK(get_both(store) == "-1: 0 '', 0 ''");
    CHECK(set_all(store, {"/a", "/b"}, {integer(9), integer(9)}) == "-1: 1 0");
    CHECK(clear(store, {"/a", "/b"}) == "-1: 7 7");
}

TEST_CASE("a fault's statuses stay when the store cannot be written")
{
    const FaultyMeter meter(fault("call = 'set_leaves'\npath = '/a'\nstatus = 5"));
    TestStore store;
    std::filesystem::create_directories(meter.path("store.toml.new/in the way"));
    CHECK(set_all(store, {"/a", "/b"}, {integer(9), integer(9)}) == "-1: 5 0");
}

TEST_CASE("the faults are read once, at the first call")
{
    const FaultyMeter meter(fault("call = 'get_leaves'\nresult = 1"));
    toolkit::CCds unconnected;
    get(unconnected, {"/a"});
    meter.write("faults.toml", fault("call = 'get_leaves'\nresult = 2"));
    TestStore store;
    CHECK(get(store, {"/a"}) == "1: 0 ''");
}

TEST_CASE("a broken faults file fails every connection, with its line")
{
    const FaultyMeter meter(fault("call = 'get_leaves'\nresult = 1") +
                            fault("call = 'set_leaf'\ncalls = 1"));
    for (int i = 0; i < 2; ++i) {
        pcd_connection* connection = nullptr;
        CHECK(standard_error_of([&] { connection = pcd_init(0); }) ==
              meter.path("faults.toml") + ":6: unknown key \"calls\"\n");
        CHECK(connection == nullptr);
        CHECK(simulator::this_meter().faults.empty());
    }
}

TEST_CASE("a faults file that cannot be read fails the connection")
{
    const TestMeter meter(two_leaves);
    std::filesystem::create_directory(meter.path("faults.toml"));
    CHECK(standard_error_of([] { pcd_close(pcd_init(0)); }) ==
          meter.path("faults.toml") + ": cannot be read: Is a directory\n");
}

TEST_CASE("a meter without a faults file has no faults")
{
    const TestMeter meter(two_leaves);
    TestStore store;
    CHECK(get_both(store) == both_as_stored);
}
