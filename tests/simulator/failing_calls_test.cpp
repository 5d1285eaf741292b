#include "simulator/files.h"
#include "simulator/meter.h"
#include "tests/simulator/changed_status.h"
#include "tests/simulator/failing_call.h"
#include "tests/simulator/test_meter.h"

#include <doctest/doctest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

using namespace simulator;

namespace
{

const std::string old_text = "\"/a\" = 1\n";
const std::string new_text = "\"/a\" = 2\n";

// Sets a different owner in every file status, so that the old and the new file have different
// owners.
void to_another_owner(struct stat64& status)
{
    static uid_t last_owner = 100'000;
    status.st_uid = ++last_owner;
}

} // namespace

TEST_CASE("a call that a signal interrupts is repeated")
{
    for (const char* function : {"read", "write", "fsync", "flock"}) {
        CAPTURE(function);
        const TestMeter meter(old_text);
        TestStore store;
        meter.write("store.toml", old_text); // makes the next call read the file
        const FailingCall broken(function, EINTR);
        CHECK(set(store, "/a", integer(2)) == "0: 1");
        CHECK(broken.has_failed());
        CHECK(meter.read("store.toml") == new_text);
    }
}

TEST_CASE("a write that fails leaves the old file and nothing else")
{
    for (const char* function : {"write", "fsync", "flock"}) {
        CAPTURE(function);
        const TestMeter meter(old_text);
        TestStore store;
        const FailingCall broken(function, EIO);
        CHECK(set(store, "/a", integer(2)) == "-1: 0");
        CHECK(broken.has_failed());
        CHECK(meter.read("store.toml") == old_text);
        CHECK_FALSE(meter.has("store.toml.new"));
    }
}

TEST_CASE("the reason of a failed write is not lost while the new file is removed")
{
    const TestMeter meter(old_text);
    const OpenFile folder = lock_folder(meter.folder);
    const FailingCall broken("write", ENOSPC);
    CHECK_FALSE(replace_file(folder.fd, "store.toml", new_text));
    CHECK(errno == ENOSPC);
}

TEST_CASE("a write of no bytes counts as a full disk")
{
    const TestMeter meter(old_text);
    const OpenFile folder = lock_folder(meter.folder);
    const FailingCall idle("write", 0);
    CHECK_FALSE(replace_file(folder.fd, "store.toml", new_text));
    CHECK(errno == ENOSPC);
    CHECK(meter.read("store.toml") == old_text);
}

TEST_CASE("a failed flush of the directory fails the write although the new file is in place")
{
    const TestMeter meter(old_text);
    TestStore store;
    const FailingCall broken("fsync", EIO, 2);
    CHECK(set(store, "/a", integer(2)) == "-1: 0");
    CHECK(meter.read("store.toml") == new_text);
}

TEST_CASE("a file system that cannot flush directories does not fail the write")
{
    const TestMeter meter(old_text);
    TestStore store;
    const FailingCall broken("fsync", EINVAL, 2);
    CHECK(set(store, "/a", integer(2)) == "0: 1");
    CHECK(broken.has_failed());
}

TEST_CASE("an owner that the writer is not permitted to keep does not fail the write")
{
    for (const int reason : {EPERM, EINVAL, ENOSYS, EOPNOTSUPP}) {
        CAPTURE(reason);
        const TestMeter meter(old_text);
        TestStore store;
        const ChangedStatus changed(to_another_owner);
        const FailingCall broken("fchown", reason);
        CHECK(set(store, "/a", integer(2)) == "0: 1");
        CHECK(broken.has_failed());
        CHECK(meter.read("store.toml") == new_text);
    }
}

TEST_CASE("an owner that cannot be kept for another reason fails the write")
{
    const TestMeter meter(old_text);
    TestStore store;
    const ChangedStatus changed(to_another_owner);
    const FailingCall broken("fchown", EIO);
    CHECK(set(store, "/a", integer(2)) == "-1: 0");
    CHECK(meter.read("store.toml") == old_text);
    CHECK_FALSE(meter.has("store.toml.new"));
}

TEST_CASE("a read that fails fails the call, and the next one reads again")
{
    const TestMeter meter(old_text);
    TestStore store;
    meter.write("store.toml", old_text); // makes the next call read the file
    {
        const FailingCall broken("read", EIO);
        CHECK(get(store, {"/a"}) == "-1: 0 ''");
    }
    CHECK(get(store, {"/a"}) == "0: 1 1");
}

TEST_CASE("a read that fails at the end of the file fails")
{
    const TestMeter meter(old_text);
    std::string text;
    FileStamp stamp;
    const FailingCall broken("read", EIO, 2);
    CHECK_FALSE(read_file(AT_FDCWD, meter.path("store.toml").c_str(), text, stamp));
    CHECK(errno == EIO);
    CHECK(broken.has_failed());
}

TEST_CASE("a settled store that vanishes fails the next call")
{
    const TestMeter meter(old_text);
    let_file_settle();
    TestStore store;
    std::filesystem::remove(meter.path("store.toml"));
    CHECK(get(store, {"/a"}) == "-1: 0 ''");
}

TEST_CASE("a free standard descriptor is not used")
{
    const TestMeter meter(old_text);
    const int kept = dup(STDIN_FILENO);
    close(STDIN_FILENO);
    const OpenFile file = open_file(AT_FDCWD, meter.path("store.toml").c_str(), O_RDONLY);
    const bool is_free = fcntl(STDIN_FILENO, F_GETFD) < 0;
    dup2(kept, STDIN_FILENO);
    close(kept);
    CHECK(file.fd >= 3);
    CHECK(is_free);
}

TEST_CASE("a file that is not a directory cannot be listed")
{
    const TestMeter meter(old_text);
    const OpenFile file = open_file(AT_FDCWD, meter.path("store.toml").c_str(), O_RDONLY);
    std::vector<std::string> names = {"from before"};
    CHECK_FALSE(list_folder(file.fd, names));
    CHECK(names.empty());
}

TEST_CASE("an entry that cannot be removed is an error")
{
    const TestMeter meter("");
    std::filesystem::create_directories(meter.path("folder"));
    meter.write("folder/file", "");
    const OpenFile folder = lock_folder(meter.folder);
    CHECK_FALSE(remove_entry(folder.fd, "none"));
    {
        const FailingCall busy("unlinkat", EBUSY, 2); // the second call removes the inner file
        CHECK_FALSE(remove_entry(folder.fd, "folder"));
    }
    CHECK(meter.has("folder/file"));
    {
        const FailingCall replaced("unlinkat", EISDIR); // reports that the file is a directory
        CHECK_FALSE(remove_entry(folder.fd, "store.toml"));
    }
    CHECK(remove_entry(folder.fd, "folder"));
    CHECK_FALSE(meter.has("folder"));
}

TEST_CASE("a removal fails when one file stays, and takes the others")
{
    const TestMeter meter("");
    std::filesystem::create_directories(meter.path("jffs/downloads"));
    meter.write("jffs/downloads/vmconfig.1", "");
    meter.write("jffs/downloads/vmconfig.2", "");
    {
        const FailingCall busy("unlinkat", EBUSY);
        CHECK(system("rm -rf /jffs/downloads/vmconfig.*") == 256);
    }
    CHECK(meter.has("jffs/downloads/vmconfig.1") != meter.has("jffs/downloads/vmconfig.2"));
}

TEST_CASE("a first call without a meter finds no faults and fails")
{
    const TestMeter meter("");
    meter.write("faults.toml", "[[fault]]\ncall = 'get_leaves'\nresult = 7\n");
    unsetenv("METER_SIM_DIR");
    toolkit::CCds unconnected;
    CHECK(get(unconnected, {"/a"}) == "-1: 0 ''");
    CHECK(this_meter().faults.empty());
    CHECK(this_meter().faults_error.empty());
}
