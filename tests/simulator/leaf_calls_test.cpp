#include "simulator/meter.h"
#include "tests/simulator/test_meter.h"

#include <doctest/doctest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

namespace
{

constexpr char three_leaves[] = "\"/b\" = true\n\"/n\" = -2147483648\n\"/s\" = \"RK\"\n";

// Overwrites a part of a file in place, without changing its size.
void overwrite(const std::string& file, off_t at, const std::string& bytes)
{
    const int fd = open(file.c_str(), O_WRONLY | O_CLOEXEC);
    REQUIRE(fd >= 0);
    REQUIRE(pwrite(fd, bytes.data(), bytes.size(), at) == static_cast<ssize_t>(bytes.size()));
    close(fd);
}

} // namespace

TEST_CASE("leaves are read with the type that is stored")
{
    const TestMeter meter(three_leaves);
    TestStore store;
    CHECK(get(store, {"/s", "/b", "/n"}) == "0: 1 'RK', 1 true, 1 -2147483648");
}

TEST_CASE("a missing leaf has status 2 and an empty string element")
{
    const TestMeter meter(three_leaves);
    TestStore store;
    CHECK(get(store, {"/none", "/s", "/S"}) == "0: 2 '', 1 'RK', 2 ''");
}

TEST_CASE("a read of no leaves succeeds")
{
    const TestMeter meter(three_leaves);
    TestStore store;
    CHECK(get(store, {}) == "0:");
}

TEST_CASE("elements that are read are stamped with the time")
{
    const TestMeter meter(three_leaves);
    TestStore store;
    std::vector<api_status_t> statuses;
    std::vector<toolkit::CElement> elements;
    std::vector<toolkit::element_property_t> properties;
    toolkit::CElement::_auto_time = true;
    store.get_leaves({"/s", "/none"}, statuses, elements, properties);
    toolkit::CElement::_auto_time = false;
    CHECK(elements[0].time() != toolkit::CElement::_invalid_time);
    CHECK(elements[1].time() != toolkit::CElement::_invalid_time);
}

TEST_CASE("set_leaf creates or replaces a leaf, with the type of the element")
{
    const TestMeter meter(three_leaves);
    TestStore store;
    CHECK(set(store, "/new", text("x")) == "0: 1");
    CHECK(set(store, "/s", integer(5)) == "0: 1");
    CHECK(set(store, "/n", boolean(false)) == "0: 1");
    CHECK(set(store, "/b", text("true")) == "0: 1");
    CHECK(meter.read("store.toml") ==
          "\"/b\" = \"true\"\n\"/n\" = false\n\"/new\" = \"x\"\n\"/s\" = 5\n");
    CHECK(get(store, {"/new", "/s", "/n", "/b"}) == "0: 1 'x', 1 5, 1 false, 1 'true'");
}

TEST_CASE("set_leaves writes all of its leaves atomically")
{
    const TestMeter meter("\"/old\" = 1\n");
    TestStore store;
    std::filesystem::create_hard_link(meter.path("store.toml"), meter.path("before"));
    CHECK(set_all(store, {"/c", "/a"}, {text("x"), boolean(true)}) == "0: 1 1");
    CHECK(meter.read("store.toml") == "\"/a\" = true\n\"/c\" = \"x\"\n\"/old\" = 1\n");
    CHECK(meter.read("before") == "\"/old\" = 1\n"); // the old file was replaced, not overwritten
}

TEST_CASE("when a batch has a path twice, the later value is stored")
{
    const TestMeter meter("");
    TestStore store;
    CHECK(set_all(store, {"/ML", "/PQ", "/ML"}, {boolean(false), boolean(true), boolean(true)}) ==
          "0: 1 1 1");
    CHECK(meter.read("store.toml") == "\"/ML\" = true\n\"/PQ\" = true\n");
}

TEST_CASE("a write of no leaves does not change the file")
{
    const TestMeter meter("# as the editor left it\n");
    TestStore store;
    CHECK(set_all(store, {}, {}) == "0:");
    CHECK(clear(store, {}) == "0:");
    CHECK(meter.read("store.toml") == "# as the editor left it\n");
}

TEST_CASE("clear_leaves removes leaves, and even a missing one has status 1")
{
    const TestMeter meter(three_leaves);
    TestStore store;
    CHECK(clear(store, {"/n", "/none", "/s"}) == "0: 1 1 1");
    CHECK(meter.read("store.toml") == "\"/b\" = true\n");
    CHECK(get(store, {"/n"}) == "0: 2 ''");
}

TEST_CASE("a write keeps neither comments nor order")
{
    const TestMeter meter("# head\n'/b'=1 # tail\n\n\"/a\" = \"\"\"x\ny\"\"\"\n");
    TestStore store;
    CHECK(set(store, "/a b", integer(0x10)) == "0: 1");
    CHECK(meter.read("store.toml") == "\"/a\" = \"x\\ny\"\n\"/a b\" = 16\n\"/b\" = 1\n");
}

TEST_CASE("any UTF-8 text can be a path and a value")
{
    const TestMeter meter("");
    TestStore store;
    const std::string odd =
        std::string("\"quo\\ted\"\n\t\x01\x7f/") + '\0' + "\xC3\xA4\xF0\x9F\x94\x8C";
    CHECK(set(store, odd, text(odd)) == "0: 1");
    CHECK(get(store, {odd}) == "0: 1 '" + odd + "'");
    simulator::forget_meter(); // makes the next call read the file
    TestStore again;
    CHECK(get(again, {odd}) == "0: 1 '" + odd + "'");
}

TEST_CASE("a text that the file cannot hold is not written")
{
    const TestMeter meter(three_leaves);
    TestStore store;
    CHECK(set(store, "/s", text("bad \x93")) == "-1: 0");
    CHECK(set_all(store, {"/s", "/\xFF"}, {text("x"), text("y")}) == "-1: 0 0");
    CHECK(meter.read("store.toml") == three_leaves);
    CHECK(get(store, {"/s"}) == "0: 1 'RK'");
}

TEST_CASE("a change of the file is seen by the next call")
{
    const TestMeter meter("\"/a\" = 1\n");
    TestStore store;
    CHECK(get(store, {"/a"}) == "0: 1 1");
    meter.write("store.toml", "\"/a\" = \"longer\"\n");
    CHECK(get(store, {"/a"}) == "0: 1 'longer'");

    REQUIRE(exit_status_of([] {
                TestStore other;
                return set(other, "/a", integer(3)) == "0: 1" ? 0 : 1;
            }) == 0);
    CHECK(get(store, {"/a"}) == "0: 1 3");
    CHECK(set(store, "/b", integer(4)) == "0: 1");
    CHECK(meter.read("store.toml") == "\"/a\" = 3\n\"/b\" = 4\n");
}

TEST_CASE("a write of the same size in place, directly after a read, is seen")
{
    const TestMeter meter("\"/a\" = 0\n");
    TestStore store;
    for (int i = 0; i < 500; ++i) {
        const std::string digit = std::to_string(i % 10);
        overwrite(meter.path("store.toml"), 7, digit);
        REQUIRE(get(store, {"/a"}) == "0: 1 " + digit);
    }
}

TEST_CASE("a write of the same size in place is seen although its time is set back")
{
    const TestMeter meter("\"/a\" = 0\n");
    let_file_settle();
    TestStore store;
    CHECK(get(store, {"/a"}) == "0: 1 0");
    struct stat before;
    REQUIRE(stat(meter.path("store.toml").c_str(), &before) == 0);
    overwrite(meter.path("store.toml"), 7, "1");
    const timespec times[] = {before.st_atim, before.st_mtim};
    REQUIRE(utimensat(AT_FDCWD, meter.path("store.toml").c_str(), times, 0) == 0);
    CHECK(get(store, {"/a"}) == "0: 1 1");
}

TEST_CASE("a change in place directly after the library's own write is seen")
{
    const TestMeter meter("");
    TestStore store;
    for (int i = 0; i < 20; ++i) {
        CHECK(set(store, "/a", integer(0)) == "0: 1");
        overwrite(meter.path("store.toml"), 7, "1");
        REQUIRE(get(store, {"/a"}) == "0: 1 1");
    }
}

TEST_CASE("a file that did not change is not parsed again")
{
    const TestMeter meter(three_leaves);
    TestStore store;
    for (int i = 0; i < 5; ++i)
        get(store, {"/s"});
    let_file_settle();
    for (int i = 0; i < 5; ++i)
        get(store, {"/s"});
    CHECK(simulator::this_meter().store.parses == 1);
}

TEST_CASE("a file that did not change is not parsed again for another connection")
{
    const TestMeter meter(three_leaves);
    TestStore store;
    simulator::this_meter().store.parses = 10;
    TestStore another;
    CHECK(simulator::this_meter().store.parses == 10);
}

TEST_CASE("a file that was replaced by the same bytes is not parsed again")
{
    const TestMeter meter(three_leaves);
    TestStore store;
    let_file_settle();
    meter.write("store.toml", three_leaves);
    CHECK(get(store, {"/s"}) == "0: 1 'RK'");
    CHECK(simulator::this_meter().store.parses == 1);
    meter.write("store.toml", "\"/s\" = \"W\"\n");
    CHECK(get(store, {"/s"}) == "0: 1 'W'");
    CHECK(simulator::this_meter().store.parses == 2);
}

TEST_CASE("the library does not parse its own writes again")
{
    const TestMeter meter(three_leaves);
    TestStore store;
    for (int i = 0; i < 3; ++i) {
        CHECK(set(store, "/i", integer(i)) == "0: 1");
        CHECK(get(store, {"/i"}) == "0: 1 " + std::to_string(i));
    }
    CHECK(simulator::this_meter().store.parses == 1);
}

TEST_CASE("a store that cannot be read fails every call, with all statuses 0")
{
    const TestMeter meter(three_leaves);
    TestStore store;
    const std::string broken = "\"/s\" = \n";
    for (const bool removed : {false, true}) {
        CAPTURE(removed);
        meter.write("store.toml", broken);
        if (removed)
            std::filesystem::remove(meter.path("store.toml"));
        CHECK(get(store, {"/s", "/b"}) == "-1: 0 '', 0 ''");
        CHECK(get(store, {}) == "-1:");
        CHECK(set(store, "/s", text("x")) == "-1: 0");
        CHECK(set_all(store, {"/s", "/b"}, {text("x"), text("y")}) == "-1: 0 0");
        CHECK(set_all(store, {}, {}) == "-1:");
        CHECK(clear(store, {"/s", "/b"}) == "-1: 0 0");
        CHECK(meter.read("store.toml") == (removed ? "" : broken));
    }
    meter.write("store.toml", three_leaves);
    CHECK(get(store, {"/s"}) == "0: 1 'RK'");
}

TEST_CASE("the calls on an unreadable store print nothing")
{
    const TestMeter meter(three_leaves);
    TestStore store;
    meter.write("store.toml", "broken");
    CHECK(standard_error_of([&] {
              get(store, {"/s"});
              set(store, "/s", text("x"));
          }) == "");
}

TEST_CASE("a store that cannot be written fails the writes, with all statuses 0")
{
    const TestMeter meter(three_leaves);
    TestStore store;
    std::filesystem::create_directories(meter.path("store.toml.new/in the way"));
    CHECK(set(store, "/s", text("x")) == "-1: 0");
    CHECK(set_all(store, {"/s", "/b"}, {text("x"), text("y")}) == "-1: 0 0");
    CHECK(clear(store, {"/s"}) == "-1: 0");
    CHECK(get(store, {"/s"}) == "0: 1 'RK'");
    CHECK(meter.read("store.toml") == three_leaves);
}

TEST_CASE("without a connection every call fails, with all statuses 0")
{
    const TestMeter meter(three_leaves);
    toolkit::CCds store;
    CHECK(get(store, {"/s", "/b"}) == "-1: 0 '', 0 ''");
    CHECK(set(store, "/s", text("x")) == "-1: 0");
    CHECK(set_all(store, {"/s", "/b"}, {text("x"), text("y")}) == "-1: 0 0");
    CHECK(clear(store, {"/s"}) == "-1: 0");
    CHECK(meter.read("store.toml") == three_leaves);
}
