#include "simulator/meter_store.h"
#include "tests/simulator/test_meter.h"

#include <doctest/doctest.h>

#include <sys/wait.h>

#include <string>
#include <vector>

using namespace simulator;

namespace
{

constexpr int writers = 3;
constexpr int leaves_of_each = 120;

std::string leaf_path(int writer, int leaf)
{
    return "/" + std::to_string(writer) + "/" + std::to_string(leaf);
}

int write_all_leaves(int writer)
{
    TestStore store;
    for (int i = 0; i < leaves_of_each; i += 2) {
        // Both or neither of a batch is to be seen by anyone.
        const std::vector<std::string> paths = {leaf_path(writer, i), leaf_path(writer, i + 1)};
        if (set_all(store, paths, {integer(i), integer(i + 1)}) != "0: 1 1")
            return 1;
    }
    return 0;
}

// How many leaves of one writer there are; -1 when they are not the first ones in whole batches.
int leaves_written(const Leaves& leaves, int writer)
{
    int count = 0;
    while (leaves.count(leaf_path(writer, count)) != 0)
        ++count;
    for (int i = count; i < leaves_of_each; ++i) {
        if (leaves.count(leaf_path(writer, i)) != 0)
            return -1;
    }
    return count % 2 == 0 ? count : -1;
}

// Reads until the first of the processes has ended. Returns false when a read failed, or saw half
// of a write, or saw a leaf vanish.
bool all_reads_are_whole(const TestMeter& meter)
{
    MeterStore store;
    store.folder = meter.folder;
    std::string error;
    int seen[writers] = {};
    siginfo_t none;
    while (waitid(P_ALL, 0, &none, WEXITED | WNOHANG | WNOWAIT) == 0 && none.si_pid == 0) {
        if (!refresh_leaves(store, error))
            return false;
        for (int writer = 0; writer < writers; ++writer) {
            const int count = leaves_written(store.leaves, writer);
            if (count < seen[writer])
                return false;
            seen[writer] = count;
        }
    }
    return true;
}

} // namespace

TEST_CASE("writers at the same time lose nothing, and readers see whole writes")
{
    const TestMeter meter("");
    std::vector<int> processes;
    for (int writer = 0; writer < writers; ++writer)
        processes.push_back(start_process([writer] { return write_all_leaves(writer); }));
    CHECK(all_reads_are_whole(meter));
    for (const int process : processes)
        CHECK(wait_for_process(process) == 0);

    MeterStore store;
    store.folder = meter.folder;
    std::string error;
    REQUIRE(refresh_leaves(store, error));
    CHECK(store.leaves.size() == writers * leaves_of_each);
    for (int writer = 0; writer < writers; ++writer)
        CHECK(leaves_written(store.leaves, writer) == leaves_of_each);
}
