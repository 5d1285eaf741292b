#include "simulator/meter_store.h"
#include "tests/simulator/changed_status.h"
#include "tests/simulator/failing_call.h"
#include "tests/simulator/test_meter.h"

#include <doctest/doctest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <filesystem>
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

// Rounds a file's times to two seconds, as FAT does.
void to_two_seconds(struct stat64& status)
{
    status.st_mtim = {status.st_mtim.tv_sec / 2 * 2, 0};
    status.st_ctim = {status.st_ctim.tv_sec / 2 * 2, 0};
}

// Rounds a file's times to whole seconds, as some other file systems do.
void to_seconds(struct stat64& status)
{
    status.st_mtim.tv_nsec = 0;
    status.st_ctim.tv_nsec = 0;
}

// Rounds only the ctime, the time of the last change of the contents or the attributes.
void change_time_to_seconds(struct stat64& status)
{
    status.st_ctim.tv_nsec = 0;
}

// Sets the same times, long ago, in every file status.
void to_one_moment(struct stat64& status)
{
    status.st_mtim = {1, 1};
    status.st_ctim = {1, 1};
}

void set_modified(const TestMeter& meter, const timespec& time)
{
    const timespec times[] = {time, time};
    REQUIRE(utimensat(AT_FDCWD, meter.path("store.toml").c_str(), times, 0) == 0);
}

} // namespace

TEST_CASE("an edit starts from the leaves in the file")
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

TEST_CASE("a rejected edit changes nothing and keeps its reason")
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

TEST_CASE("an edit that runs out of memory changes nothing and reports it")
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

TEST_CASE("the error for a missing directory names it")
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

TEST_CASE("the next successful read clears the error of a failed one")
{
    const TestMeter meter("broken");
    MeterStore store = store_in(meter);
    std::string error;
    CHECK_FALSE(refresh_leaves(store, error));
    CHECK_FALSE(refresh_leaves(store, error));
    CHECK(store.parses == 1); // the same bytes are not parsed again
    CHECK(error != "");
    meter.write("store.toml", "\"/a\" = 1\n");
    CHECK(refresh_leaves(store, error));
    CHECK(error == "");
}

TEST_CASE("a settled file is not read again while its stamp is the same")
{
    const TestMeter meter("\"/a\" = 1\n");
    MeterStore store = store_in(meter);
    std::string error;
    let_file_settle();
    REQUIRE(refresh_leaves(store, error));
    CHECK(store.stamp);
}

TEST_CASE("the error of a settled file is reported by every read")
{
    const TestMeter meter("broken");
    MeterStore store = store_in(meter);
    let_file_settle();
    for (int i = 0; i < 2; ++i) {
        std::string error;
        CHECK_FALSE(refresh_leaves(store, error));
        CHECK(error == store.error);
        CHECK(store.stamp);
    }
    CHECK(store.error != "");
}

TEST_CASE("a recently changed file is read again although its stamp is the same")
{
    const TestMeter meter("");
    MeterStore store = store_in(meter);
    std::string error;
    bool known = true;
    for (int i = 0; known && i < 50; ++i) { // on a busy machine, the first reads may be too late
        meter.write("store.toml", "");
        REQUIRE(refresh_leaves(store, error));
        known = store.stamp.has_value();
    }
    CHECK_FALSE(known);
}

TEST_CASE("every call reads a file whose times are whole seconds")
{
    for (const auto change : {to_seconds, to_two_seconds}) {
        const TestMeter meter("\"/a\" = 1\n");
        MeterStore store = store_in(meter);
        const ChangedStatus coarse(change);
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

TEST_CASE("a file is read again when either of its times is in whole seconds")
{
    const TestMeter meter("\"/a\" = 1\n");
    MeterStore store = store_in(meter);
    set_modified(meter, {1000, 0});
    let_file_settle();
    CHECK(refreshed(store) == "1");
    CHECK_FALSE(store.stamp);
    const unsigned parses = store.parses;
    CHECK(refreshed(store) == "1");
    CHECK(store.parses == parses); // the file is read again, but not parsed again

    set_modified(meter, {1000, 1});
    let_file_settle();
    const ChangedStatus coarse(change_time_to_seconds);
    CHECK(refreshed(store) == "1");
    CHECK_FALSE(store.stamp);
}

TEST_CASE("a modification time in the future is trusted like one in the past")
{
    const TestMeter meter("\"/a\" = 1\n");
    MeterStore store = store_in(meter);
    set_modified(meter, {std::time(nullptr) + 3600, 1});
    let_file_settle();
    CHECK(refreshed(store) == "1");
    CHECK(store.stamp);
}

TEST_CASE("a write always reads the file, whatever its stamp")
{
    const TestMeter meter("\"/a\" = 1\n");
    MeterStore store = store_in(meter);
    const ChangedStatus stopped(to_one_moment);
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

TEST_CASE("when the store is a link, its target is read and replaced")
{
    for (const std::string target : {"real.toml", "elsewhere/real.toml"}) {
        CAPTURE(target);
        const TestMeter meter("");
        std::filesystem::create_directory(meter.path("elsewhere"));
        std::filesystem::remove(meter.path("store.toml"));
        std::filesystem::create_symlink(target, meter.path("store.toml"));
        meter.write("factory.toml", "\"/b\" = 2\n");
        meter.write(target, "\"/a\" = 1\n");
        TestStore store;
        CHECK(get(store, {"/a"}) == "0: 1 1");
        CHECK(set(store, "/a", integer(3)) == "0: 1");
        CHECK(meter.read(target) == "\"/a\" = 3\n");
        std::string error;
        CHECK(restore_factory(meter.folder, error));
        CHECK(meter.read(target) == "\"/b\" = 2\n");
        CHECK(get(store, {"/b"}) == "0: 1 2");
        CHECK(std::filesystem::read_symlink(meter.path("store.toml")) == target);
        CHECK_FALSE(meter.has(target + ".new"));
    }
}

TEST_CASE("the error for factory defaults that cannot be read names the file and the reason")
{
    const TestMeter meter("\"/a\" = 1\n");
    std::filesystem::create_directory(meter.path("factory.toml"));
    std::string error;
    CHECK_FALSE(restore_factory(meter.folder, error));
    CHECK(error == meter.path("factory.toml") + ": cannot be read: Is a directory");
    CHECK(meter.read("store.toml") == "\"/a\" = 1\n");
}

TEST_CASE("a dangling link is kept, and its target is created")
{
    const TestMeter meter("");
    std::filesystem::remove(meter.path("store.toml"));
    std::filesystem::create_symlink(meter.path("real.toml"), meter.path("store.toml"));
    std::string error;
    CHECK(replace_store(meter.folder, "\"/a\" = 1\n", error));
    CHECK(std::filesystem::is_symlink(meter.path("store.toml")));
    CHECK(meter.read("real.toml") == "\"/a\" = 1\n");
}

TEST_CASE("a link that cannot be followed fails the write with the reason")
{
    const TestMeter meter("");
    std::filesystem::remove(meter.path("store.toml"));
    std::filesystem::create_symlink("store.toml", meter.path("store.toml"));
    std::string error;
    CHECK_FALSE(replace_store(meter.folder, "", error));
    CHECK(error == meter.folder + ": cannot be locked: Too many levels of symbolic links");
    std::filesystem::remove(meter.path("store.toml"));
    std::filesystem::create_symlink("none/real.toml", meter.path("store.toml"));
    CHECK_FALSE(replace_store(meter.folder, "", error));
    CHECK(error == meter.folder + ": cannot be locked: No such file or directory");
    CHECK(std::filesystem::is_symlink(meter.path("store.toml")));
}

TEST_CASE("the write fails when the directory of a link's target cannot be locked")
{
    const TestMeter meter("\"/a\" = 1\n");
    std::filesystem::create_directory(meter.path("other"));
    std::filesystem::create_symlink("../store.toml", meter.path("other/store.toml"));
    const FailingCall failing("flock", ENOLCK, 2);
    std::string error;
    CHECK_FALSE(replace_store(meter.path("other"), "", error));
    CHECK(error == meter.path("other") + ": cannot be locked: No locks available");
    CHECK(meter.read("store.toml") == "\"/a\" = 1\n");
}

TEST_CASE("a writer through a link waits for the lock of the target's directory")
{
    const TestMeter meter("\"/a\" = 1\n");
    std::filesystem::create_directory(meter.path("other"));
    std::filesystem::create_symlink("../store.toml", meter.path("other/store.toml"));
    int writer = 0;
    {
        const OpenFile held = lock_folder(meter.folder);
        writer = start_process([&] {
            close(held.fd); // so that only the test's process holds the lock
            std::string error;
            return replace_store(meter.path("other"), "\"/a\" = 2\n", error) ? 0 : 1;
        });
        let_file_settle(); // a writer that ignores the lock would finish in this time
        CHECK(meter.read("store.toml") == "\"/a\" = 1\n");
    }
    CHECK(wait_for_process(writer) == 0);
    CHECK(meter.read("store.toml") == "\"/a\" = 2\n");
}

TEST_CASE("a store is replaced by any bytes unchanged")
{
    const TestMeter meter("\"/a\" = 1\n");
    std::string error;
    CHECK(replace_store(meter.folder, "# new\n\"/b\" = 2\n", error));
    CHECK(meter.read("store.toml") == "# new\n\"/b\" = 2\n");
    CHECK(replace_store(meter.folder, "\n", error));
    CHECK(meter.read("store.toml") == "\n");
}
