#include "simulator/files.h"
#include "simulator/trace.h"
#include "tests/simulator/failing_call.h"
#include "tests/simulator/test_meter.h"

#include <doctest/doctest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>

TEST_CASE("opening and closing a connection are traced")
{
    const TestMeter meter("");
    meter.begin_trace();
    pcd_connection* connection = pcd_init(0);
    CHECK(meter.read("trace") == "{\"call\":\"pcd_init\",\"connected\":true}\n");
    pcd_close(connection);
    CHECK(meter.read("trace") ==
          "{\"call\":\"pcd_init\",\"connected\":true}\n{\"call\":\"pcd_close\"}\n");
}

TEST_CASE("a new trace has the permissions that the mask leaves")
{
    const TestMeter meter("");
    meter.begin_trace();
    const mode_t mask = umask(0);
    pcd_close(pcd_init(0));
    umask(mask);
    struct stat status = {};
    REQUIRE(stat(meter.path("trace").c_str(), &status) == 0);
    CHECK((status.st_mode & 07777) == 0666);
}

TEST_CASE("a rejected connection is traced, closing a null one is not")
{
    const TestMeter meter("broken");
    meter.begin_trace();
    standard_error_of([] { pcd_close(pcd_init(0)); });
    setenv("METER_SIM_DIR", "", 1);
    standard_error_of([] { pcd_close(pcd_init(0)); });
    CHECK(meter.read("trace") == "{\"call\":\"pcd_init\",\"connected\":false}\n"
                                 "{\"call\":\"pcd_init\",\"connected\":false}\n");
}

TEST_CASE("each closed handle is traced once")
{
    const TestMeter meter("");
    pcd_connection* one = pcd_init(0);
    pcd_connection* other = pcd_init(0);
    meter.begin_trace();
    pcd_close(other);
    pcd_close(one);
    CHECK(meter.read("trace") == "{\"call\":\"pcd_close\"}\n{\"call\":\"pcd_close\"}\n");
}

TEST_CASE("a read is traced with its paths, statuses and result")
{
    const TestMeter meter("\"/a\" = 1\n");
    TestStore store;
    meter.begin_trace();
    get(store, {"/a", "/none"});
    get(store, {"/a"});
    get(store, {});
    CHECK(meter.read("trace") ==
          "{\"call\":\"get_leaves\",\"paths\":[\"/a\",\"/none\"],\"statuses\":[1,2],\"result\":0}\n"
          "{\"call\":\"get_leaves\",\"paths\":[\"/a\"],\"statuses\":[1],\"result\":0}\n"
          "{\"call\":\"get_leaves\",\"paths\":[],\"statuses\":[],\"result\":0}\n");
}

TEST_CASE("a write of one leaf is traced with everything that was passed")
{
    const TestMeter meter("");
    TestStore store;
    meter.begin_trace();
    api_status_t status = 0;
    store.set_leaf("/n", integer(-1), status, 1, "");
    store.set_leaf("/b", boolean(false), status, 0, "Console");
    store.set_leaf("/s", text("1"), status, -1, "a/b");
    CHECK(
        meter.read("trace") ==
        "{\"call\":\"set_leaf\",\"path\":\"/n\",\"value\":-1,\"flag\":1,\"source\":\"\","
        "\"status\":1,\"result\":0}\n"
        "{\"call\":\"set_leaf\",\"path\":\"/b\",\"value\":false,\"flag\":0,\"source\":\"Console\","
        "\"status\":1,\"result\":0}\n"
        "{\"call\":\"set_leaf\",\"path\":\"/s\",\"value\":\"1\",\"flag\":-1,\"source\":\"a/b\","
        "\"status\":1,\"result\":0}\n");
}

TEST_CASE("a write of several leaves is traced leaf by leaf")
{
    const TestMeter meter("");
    TestStore store;
    meter.begin_trace();
    std::vector<api_status_t> statuses;
    store.set_leaves({"/b", "/a"}, {boolean(true), text("RK")}, {1, 0}, statuses, "Console");
    store.set_leaves({"/c"}, {integer(2)}, {1}, statuses, "");
    store.set_leaves({}, {}, {}, statuses, "");
    CHECK(meter.read("trace") ==
          "{\"call\":\"set_leaves\",\"leaves\":["
          "{\"path\":\"/b\",\"value\":true,\"flag\":1,\"status\":1},"
          "{\"path\":\"/a\",\"value\":\"RK\",\"flag\":0,\"status\":1}],"
          "\"source\":\"Console\",\"result\":0}\n"
          "{\"call\":\"set_leaves\",\"leaves\":["
          "{\"path\":\"/c\",\"value\":2,\"flag\":1,\"status\":1}],"
          "\"source\":\"\",\"result\":0}\n"
          "{\"call\":\"set_leaves\",\"leaves\":[],\"source\":\"\",\"result\":0}\n");
}

TEST_CASE("a clear is traced with its paths, statuses, source and result")
{
    const TestMeter meter("");
    TestStore store;
    meter.begin_trace();
    clear(store, {"/a", "/b"});
    CHECK(meter.read("trace") == "{\"call\":\"clear_leaves\",\"paths\":[\"/a\",\"/b\"],"
                                 "\"statuses\":[1,1],\"source\":\"\",\"result\":0}\n");
}

TEST_CASE("calls that fail are traced with their result and statuses")
{
    const TestMeter meter("");
    meter.write("faults.toml", "[[fault]]\ncall = 'clear_leaves'\npath = '/a'\nstatus = 5\n"
                               "result = -7\n");
    TestStore store;
    meter.begin_trace();
    clear(store, {"/a", "/b"});
    meter.write("store.toml", "broken");
    get(store, {"/a"});
    toolkit::CCds unconnected;
    set(unconnected, "/a", text("x"));
    set_all(unconnected, {"/a"}, {text("x")});
    CHECK(meter.read("trace") ==
          "{\"call\":\"clear_leaves\",\"paths\":[\"/a\",\"/b\"],\"statuses\":[5,0],"
          "\"source\":\"\",\"result\":-7}\n"
          "{\"call\":\"get_leaves\",\"paths\":[\"/a\"],\"statuses\":[0],\"result\":-1}\n"
          "{\"call\":\"set_leaf\",\"path\":\"/a\",\"value\":\"x\",\"flag\":1,\"source\":\"\","
          "\"status\":0,\"result\":-1}\n"
          "{\"call\":\"set_leaves\",\"leaves\":["
          "{\"path\":\"/a\",\"value\":\"x\",\"flag\":1,\"status\":0}],"
          "\"source\":\"\",\"result\":-1}\n");
}

TEST_CASE("commands and pauses are traced")
{
    const TestMeter meter("");
    meter.begin_trace();
    setenv("METER_SIM_NO_DELAY", "1", 1);
    CHECK(system("/etc/init.d/network restart > /dev/null 2>&1") == 0);
    sleep(1);
    CHECK(system("reboot \"now\"") == 32512);
    CHECK(system(nullptr) == 0);
    CHECK(meter.read("trace") ==
          "{\"call\":\"system\",\"command\":\"/etc/init.d/network restart > /dev/null 2>&1\","
          "\"result\":0}\n"
          "{\"call\":\"sleep\",\"seconds\":1}\n"
          "{\"call\":\"system\",\"command\":\"reboot \\\"now\\\"\",\"result\":32512}\n"
          "{\"call\":\"system\",\"command\":null,\"result\":0}\n");
}

TEST_CASE("a text that is not UTF-8 is traced with replacements")
{
    const TestMeter meter("");
    TestStore store;
    meter.begin_trace();
    set(store, "/\x93", text("\xC3\xA4\n\xFF"));
    CHECK(meter.read("trace") ==
          "{\"call\":\"set_leaf\",\"path\":\"/\xEF\xBF\xBD\",\"value\":\"\xC3\xA4\\n\xEF\xBF\xBD\","
          "\"flag\":1,\"source\":\"\",\"status\":0,\"result\":-1}\n");
}

TEST_CASE("a trace is appended to its file")
{
    const TestMeter meter("");
    meter.write("trace", "from before\n");
    meter.begin_trace();
    pcd_close(pcd_init(0));
    CHECK(meter.read("trace") == "from before\n{\"call\":\"pcd_init\",\"connected\":true}\n"
                                 "{\"call\":\"pcd_close\"}\n");
}

TEST_CASE("without a named file there is no trace")
{
    const TestMeter meter("");
    setenv("METER_SIM_TRACE", "", 1);
    CHECK(standard_error_of([] {
              TestStore store;
              simulator::trace_set_leaves({}, "", 0);
          }) == "");
    CHECK_FALSE(meter.has("trace"));
}

TEST_CASE("a trace that cannot be written is reported once, and the calls go on")
{
    const TestMeter meter("\"/a\" = 1\n");
    setenv("METER_SIM_TRACE", meter.folder.c_str(), 1);
    std::string read;
    CHECK(standard_error_of([&] {
              TestStore store;
              read = get(store, {"/a"});
          }) == meter.folder + ": the trace cannot be written: Is a directory\n");
    CHECK(read == "0: 1 1");
}

TEST_CASE("a full disk under the trace is reported once")
{
    const TestMeter meter("");
    setenv("METER_SIM_TRACE", "/dev/full", 1);
    CHECK(standard_error_of([] { TestStore store; }) ==
          "/dev/full: the trace cannot be written: No space left on device\n");
}

TEST_CASE("a pipe without a reader is reported once, and the calls go on")
{
    const TestMeter meter("\"/a\" = 1\n");
    REQUIRE(mkfifo(meter.path("trace").c_str(), 0600) == 0);
    meter.begin_trace();
    std::string read;
    CHECK(standard_error_of([&] {
              TestStore store;
              read = get(store, {"/a"});
          }) == meter.path("trace") + ": the trace cannot be written: No such device or address\n");
    CHECK(read == "0: 1 1");
}

TEST_CASE("a pipe gets whole lines, however slow its reader is")
{
    const TestMeter meter("\"/a\" = 1\n");
    const std::string path(1000, 'x');
    REQUIRE(mkfifo(meter.path("trace").c_str(), 0600) == 0);
    meter.begin_trace();
    const int reader = open(meter.path("trace").c_str(), O_RDONLY | O_NONBLOCK);
    REQUIRE(reader >= 0);
    const int writer = start_process([&] {
        close(reader);
        TestStore store;
        for (int i = 0; i < 100; ++i) // 100 lines do not fit into the pipe
            get(store, {path});
        return 0;
    });
    fcntl(reader, F_SETFL, 0);
    let_file_settle();
    std::string text;
    CHECK(simulator::read_to_end(reader, text)); // the writer closes the pipe after every line
    for (std::string more; waitpid(writer, nullptr, WNOHANG) == 0; text += more)
        CHECK(simulator::read_to_end(reader, more));
    std::string rest;
    CHECK(simulator::read_to_end(reader, rest));
    text += rest;
    close(reader);
    CHECK(std::count(text.begin(), text.end(), '\n') == 102);
    CHECK(text.size() > 100 * path.size());
}

TEST_CASE("a reader that goes away and the limit on file sizes do not end the program")
{
    for (const int reason : {EPIPE, EFBIG}) {
        CAPTURE(reason);
        const TestMeter meter("\"/a\" = 1\n");
        meter.begin_trace();
        const int status = exit_status_of([&] {
            bool failed = false;
            std::signal(SIGXFSZ, SIG_DFL); // an earlier write of the store ignores this signal
            const std::string said = standard_error_of([&] {
                const FailingCall broken("write", reason);
                TestStore store;
                failed = broken.has_failed();
            });
            sigset_t left;
            sigpending(&left);
            if (sigismember(&left, SIGPIPE) != 0 || sigismember(&left, SIGXFSZ) != 0)
                return 1;
            sigprocmask(SIG_BLOCK, nullptr, &left);
            if (sigismember(&left, SIGPIPE) != 0 || sigismember(&left, SIGXFSZ) != 0)
                return 2;
            return failed && said == meter.path("trace") +
                                         ": the trace cannot be written: " + std::strerror(reason) +
                                         "\n"
                       ? 0
                       : 3;
        });
        CHECK(status == 0);
    }
}

TEST_CASE("a line that is written only in part is reported as a full disk")
{
    const TestMeter meter("\"/a\" = 1\n");
    meter.begin_trace();
    bool failed = false;
    const std::string said = standard_error_of([&] {
        const FailingCall broken("write", 0);
        errno = 0;
        TestStore store;
        failed = broken.has_failed();
    });
    CHECK(failed);
    CHECK(said ==
          meter.path("trace") + ": the trace cannot be written: " + std::strerror(ENOSPC) + "\n");
}
