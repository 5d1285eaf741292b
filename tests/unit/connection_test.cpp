#include "store/connection.h"

#include "tests/unit/fake_store.h"

#include <doctest/doctest.h>

#include <cstdio>
#include <cstdlib>

#include <sys/wait.h>
#include <unistd.h>

using Calls = std::vector<std::string>;

TEST_CASE("connecting twice opens the store only once")
{
    fresh_store();
    cds_disconnect();
    fake_store.calls.clear();
    CHECK(cds_connect() == 0);
    CHECK(cds_connect() == 0);
    CHECK(fake_store.calls == Calls{"pcd_init"});
}

TEST_CASE("a store that cannot be reached leaves the connection closed")
{
    fresh_store();
    cds_disconnect();
    fake_store.calls.clear();
    fake_store.reachable = false;
    CHECK(cds_connect() == -1);
    CHECK(cds().handle == nullptr);
    cds_disconnect();
    CHECK(fake_store.calls == Calls{"pcd_init"});
    fake_store.reachable = true;
    CHECK(cds_connect() == 0);
}

TEST_CASE("disconnecting twice closes the store only once")
{
    fresh_store();
    cds_disconnect();
    cds_disconnect();
    CHECK(fake_store.calls == Calls{"pcd_close"});
}

TEST_CASE("a connection that is open at the program's end is closed then")
{
    constexpr int closed = 42;
    constexpr int not_closed = 43;
    fresh_store();
    std::fflush(stdout);
    const pid_t process = fork();
    REQUIRE(process >= 0);
    if (process == 0) {
        before_close = [] { _exit(closed); };
        std::exit(not_closed);
    }
    int status = 0;
    REQUIRE(waitpid(process, &status, 0) == process);
    REQUIRE(WIFEXITED(status));
    CHECK(WEXITSTATUS(status) == closed);
}

TEST_CASE("a read returns the library's result, statuses and elements")
{
    FakeStore& store = fresh_store();
    store.leaves["/a"] = number_element(7);
    std::vector<api_status_t> statuses;
    std::vector<toolkit::CElement> elements;
    CHECK(cds_get({"/a", "/b"}, statuses, elements) == 0);
    CHECK(statuses == std::vector<api_status_t>{1, 2});
    CHECK(elements[0].to_int() == 7);

    store.results["get_leaves"] = {-5};
    CHECK(cds_get({"/a"}, statuses, elements) == -5);
    CHECK(store.calls == Calls{"get_leaves /a /b", "get_leaves /a"});
}

TEST_CASE("a read fails when its arrays do not match the number of paths")
{
    FakeStore& store = fresh_store();
    std::vector<api_status_t> statuses;
    std::vector<toolkit::CElement> elements;
    for (const std::size_t status_count : {0U, 1U, 2U, 3U}) {
        for (const std::size_t element_count : {0U, 1U, 2U, 3U}) {
            CAPTURE(status_count);
            CAPTURE(element_count);
            store.resize_read = [&](auto& read_statuses, auto& read_elements) {
                read_statuses.resize(status_count);
                read_elements.resize(element_count);
            };
            const bool complete = status_count == 2 && element_count == 2;
            CHECK(cds_get({"/a", "/b"}, statuses, elements) == (complete ? 0 : -1));
            store.results["get_leaves"] = {7};
            CHECK(cds_get({"/a", "/b"}, statuses, elements) == 7);
        }
    }
}

TEST_CASE("an element's time stamp is its own")
{
    const toolkit::CElement element = element_of(true);
    CHECK(time_stamp(element) == element.time());
}
