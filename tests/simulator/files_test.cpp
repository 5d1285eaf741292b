#include "simulator/files.h"
#include "tests/simulator/failing_call.h"
#include "tests/simulator/test_meter.h"

#include <doctest/doctest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

using namespace simulator;

namespace
{

bool is_open(int fd)
{
    return fcntl(fd, F_GETFD) >= 0;
}

mode_t mode_of(const std::string& file)
{
    struct stat status;
    REQUIRE(stat(file.c_str(), &status) == 0);
    return status.st_mode & 07777;
}

std::int64_t in_nanoseconds(const timespec& time)
{
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

} // namespace

TEST_CASE("an opened file never gets a standard descriptor")
{
    const TestMeter meter("");
    const int status = exit_status_of([&] {
        for (const int standard : {0, 1, 2})
            close(standard);
        const OpenFile file = open_file(AT_FDCWD, meter.path("store.toml").c_str(), O_RDONLY);
        const OpenFile folder = lock_folder(meter.folder);
        if (file.fd < 3 || folder.fd < 3)
            return 1;
        if (is_open(0) || is_open(1) || is_open(2))
            return 2;
        return (fcntl(file.fd, F_GETFD) & FD_CLOEXEC) != 0 ? 0 : 3;
    });
    CHECK(status == 0);
}

TEST_CASE("the library leaves closed standard files closed")
{
    const TestMeter meter("\"/a\" = 1\n");
    meter.begin_trace();
    const int status = exit_status_of([&] {
        for (const int standard : {0, 1, 2})
            close(standard);
        TestStore store;
        if (get(store, {"/a"}) != "0: 1 1" || set(store, "/a", integer(2)) != "0: 1")
            return 1;
        return is_open(0) || is_open(1) || is_open(2) ? 2 : 0;
    });
    CHECK(status == 0);
}

TEST_CASE("no call leaves a file open")
{
    const TestMeter meter("\"/a\" = 1\n");
    meter.begin_trace();
    meter.write("factory.toml", "\"/a\" = 1\n");
    std::filesystem::create_directories(meter.path("jffs/downloads/vmconfig.d"));
    const OpenFile before = open_file(AT_FDCWD, meter.path("store.toml").c_str(), O_RDONLY);
    {
        TestStore store;
        get(store, {"/a"});
        set(store, "/a", integer(2));
        clear(store, {"/a"});
        CHECK(system("fw_reset.sh > /dev/null 2>&1") == 0);
        CHECK(system("rm -rf /jffs/downloads/vmconfig.*") == 0);
    }
    const OpenFile after = open_file(AT_FDCWD, meter.path("store.toml").c_str(), O_RDONLY);
    CHECK(after.fd == before.fd + 1);
}

TEST_CASE("listing a directory closes it only once")
{
    const TestMeter meter("");
    const OpenFile folder = lock_folder(meter.folder);
    const int before = count_of_wrong_closes();
    const int next = dup(folder.fd); // a new descriptor always has the lowest free number
    close(next);
    std::vector<std::string> names;
    CHECK(list_folder(folder.fd, names));
    CHECK(names == std::vector<std::string>{"store.toml"});
    CHECK(count_of_wrong_closes() == before);
    CHECK_FALSE(is_open(next));
}

TEST_CASE("closing a file keeps the reason of an earlier failure")
{
    const TestMeter meter("");
    {
        const OpenFile folder = lock_folder(meter.folder);
        close(folder.fd); // so that the destructor's close fails
        errno = ENOENT;
    }
    CHECK(errno == ENOENT);
}

TEST_CASE("a replaced file keeps its permission bits, whatever the mask")
{
    const TestMeter meter("");
    const mode_t mask = umask(077);
    for (const mode_t mode : {0600u, 0644u, 0666u, 0640u, 0444u}) {
        CAPTURE(mode);
        REQUIRE(chmod(meter.path("store.toml").c_str(), mode) == 0);
        TestStore store;
        CHECK(set(store, "/a", integer(1)) == "0: 1");
        CHECK(mode_of(meter.path("store.toml")) == mode);
    }
    umask(mask);
}

TEST_CASE("a new file has the permissions that the mask leaves")
{
    const TestMeter meter("");
    const OpenFile folder = lock_folder(meter.folder);
    const mode_t mask = umask(027);
    CHECK(replace_file(folder.fd, "new", "text"));
    umask(0);
    CHECK(replace_file(folder.fd, "newer", "text"));
    umask(mask);
    CHECK(mode_of(meter.path("new")) == 0640);
    CHECK(mode_of(meter.path("newer")) == 0666);
    CHECK(meter.read("new") == "text");
}

TEST_CASE("a file that a killed writer left is replaced")
{
    const TestMeter meter("");
    const OpenFile folder = lock_folder(meter.folder);
    meter.write("store.toml.new", "a longer text than the one that is written now");
    chmod(meter.path("store.toml.new").c_str(), 0);
    CHECK(replace_file(folder.fd, "store.toml", "short"));
    CHECK(meter.read("store.toml") == "short");
    CHECK_FALSE(meter.has("store.toml.new"));
}

TEST_CASE("a link in place of the new file is not written through")
{
    const TestMeter meter("");
    const OpenFile folder = lock_folder(meter.folder);
    meter.write("victim", "untouched");
    std::filesystem::create_symlink(meter.path("victim"), meter.path("store.toml.new"));
    CHECK(replace_file(folder.fd, "store.toml", "text"));
    CHECK(meter.read("victim") == "untouched");
    CHECK(meter.read("store.toml") == "text");
    CHECK_FALSE(std::filesystem::is_symlink(meter.path("store.toml")));
}

TEST_CASE("a path is split into directory and name")
{
    CHECK(parent_of("store.toml") == ".");
    CHECK(parent_of("/store.toml") == "/");
    CHECK(parent_of("a/b/store.toml") == "a/b");
    CHECK(name_of("store.toml") == "store.toml");
    CHECK(name_of("/a/store.toml") == "store.toml");
    CHECK(name_of("a/") == "");
}

TEST_CASE("links are followed across directories, to a file that need not exist")
{
    const TestMeter meter("");
    const OpenFile folder = lock_folder(meter.folder);
    std::filesystem::create_directory(meter.path("inner"));
    std::filesystem::create_symlink("inner/second", meter.path("first"));
    std::filesystem::create_symlink("../third", meter.path("inner/second"));
    std::filesystem::create_symlink(meter.path("none"), meter.path("third"));
    std::vector<std::string> names = {"from before"};
    CHECK(follow_links(folder.fd, "first", names));
    CHECK(names == std::vector<std::string>{"first", "./inner/second", "./inner/../third",
                                            meter.path("none")});
    CHECK(follow_links(folder.fd, "store.toml", names));
    CHECK(names == std::vector<std::string>{"store.toml"});
}

TEST_CASE("the limit on links is that of the system")
{
    const TestMeter meter("");
    const OpenFile folder = lock_folder(meter.folder);
    std::filesystem::create_symlink("store.toml", meter.path("link-1"));
    for (int i = 2; i <= 41; ++i)
        std::filesystem::create_symlink("link-" + std::to_string(i - 1),
                                        meter.path("link-" + std::to_string(i)));
    std::vector<std::string> names;
    FileStamp stamp;
    CHECK(read_stamp(folder.fd, "link-40", stamp));
    CHECK(follow_links(folder.fd, "link-40", names));
    CHECK(names.size() == 41);
    CHECK_FALSE(read_stamp(folder.fd, "link-41", stamp));
    CHECK_FALSE(follow_links(folder.fd, "link-41", names));
    CHECK(errno == ELOOP);
    CHECK_FALSE(follow_links(folder.fd, "store.toml/below a file", names));
    CHECK(errno == ENOTDIR);
}

TEST_CASE("when the disk fills up during a write, the old file stays")
{
    const TestMeter meter("\"/a\" = 1\n");
    const int status = exit_status_of([&] {
        const rlimit limit = {100, 100}; // cuts the first write short; the next write fails
        setrlimit(RLIMIT_FSIZE, &limit);
        TestStore store;
        return set(store, "/a", text(std::string(1000, 'x'))) == "-1: 0" ? 0 : 1;
    });
    CHECK(status == 0);
    CHECK(meter.read("store.toml") == "\"/a\" = 1\n");
    CHECK_FALSE(meter.has("store.toml.new"));
}

TEST_CASE("a writer waits for the lock of the directory")
{
    const TestMeter meter("\"/a\" = 1\n");
    int writer = 0;
    {
        const OpenFile held = lock_folder(meter.folder);
        writer = start_process([&] {
            close(held.fd); // so that only the test's process holds the lock
            TestStore store;
            return set(store, "/a", integer(2)) == "0: 1" ? 0 : 1;
        });
        let_file_settle(); // a writer that ignores the lock would finish in this time
        CHECK(meter.read("store.toml") == "\"/a\" = 1\n");
        TestStore reader; // a reader does not wait for the lock
        CHECK(get(reader, {"/a"}) == "0: 1 1");
    }
    CHECK(wait_for_process(writer) == 0);
    CHECK(meter.read("store.toml") == "\"/a\" = 2\n");
}

TEST_CASE("the reset waits for the lock of the directory")
{
    const TestMeter meter("\"/a\" = 1\n");
    meter.write("factory.toml", "\"/a\" = 2\n");
    int resetter = 0;
    {
        const OpenFile held = lock_folder(meter.folder);
        resetter = start_process([&] {
            close(held.fd); // so that only the test's process holds the lock
            return system("fw_reset.sh > /dev/null 2>&1");
        });
        let_file_settle();
        CHECK(meter.read("store.toml") == "\"/a\" = 1\n");
    }
    CHECK(wait_for_process(resetter) == 0);
    CHECK(meter.read("store.toml") == "\"/a\" = 2\n");
}

TEST_CASE("a file that grows while it is read is read to its end")
{
    std::string text;
    FileStamp stamp;
    // The system reports a size of 0 for this file, so every byte is beyond the expected size.
    REQUIRE(read_file(AT_FDCWD, "/proc/self/maps", text, stamp));
    CHECK(text.find("[stack]") != std::string::npos);
    CHECK(text.back() == '\n');
}

TEST_CASE("the largest permitted file is read")
{
    const TestMeter meter("");
    const std::string file = meter.folder + "/store.toml";
    const std::size_t largest = std::size_t{256} * 1024 * 1024;
    REQUIRE(truncate(file.c_str(), static_cast<off_t>(largest)) == 0); // takes no disk space
    std::string text;
    FileStamp stamp;
    CHECK(read_file(AT_FDCWD, file.c_str(), text, stamp));
    CHECK(text.size() == largest);
}

TEST_CASE("a file too large for any meter is rejected before memory is allocated")
{
    const TestMeter meter("");
    const std::string file = meter.folder + "/store.toml";
    REQUIRE(truncate(file.c_str(), off_t{256} * 1024 * 1024 + 1) == 0); // takes no disk space
    std::string text;
    FileStamp stamp;
    CHECK_FALSE(read_file(AT_FDCWD, file.c_str(), text, stamp));
    CHECK(errno == EFBIG);
    CHECK(text.empty());
}

TEST_CASE("a file is not replaced when its permission bits cannot be read")
{
    const TestMeter meter("");
    const OpenFile folder = lock_folder(meter.folder);
    std::filesystem::create_symlink("loop", meter.path("loop"));
    CHECK_FALSE(replace_file(folder.fd, "loop", "text"));
    CHECK(errno == ELOOP);
    CHECK(std::filesystem::is_symlink(meter.path("loop")));
}

TEST_CASE("replacing a file changes its stamp")
{
    const TestMeter meter("same");
    FileStamp before;
    FileStamp after;
    REQUIRE(read_stamp(AT_FDCWD, meter.path("store.toml").c_str(), before));
    REQUIRE(read_stamp(AT_FDCWD, meter.path("store.toml").c_str(), after));
    CHECK(before == after);
    const OpenFile folder = lock_folder(meter.folder);
    REQUIRE(replace_file(folder.fd, "store.toml", "same"));
    REQUIRE(read_stamp(AT_FDCWD, meter.path("store.toml").c_str(), after));
    CHECK_FALSE(before == after);
}

TEST_CASE("two stamps are equal only when all parts are equal")
{
    const FileStamp stamp = {1, 2, 3, 4, 5};
    CHECK(stamp == FileStamp{1, 2, 3, 4, 5});
    CHECK_FALSE(stamp == FileStamp{9, 2, 3, 4, 5});
    CHECK_FALSE(stamp == FileStamp{1, 9, 3, 4, 5});
    CHECK_FALSE(stamp == FileStamp{1, 2, 9, 4, 5});
    CHECK_FALSE(stamp == FileStamp{1, 2, 3, 9, 5});
    CHECK_FALSE(stamp == FileStamp{1, 2, 3, 4, 9});
}

TEST_CASE("a stamp holds the values that the system reports")
{
    const TestMeter meter("text");
    struct stat status;
    REQUIRE(stat(meter.path("store.toml").c_str(), &status) == 0);
    FileStamp stamp;
    REQUIRE(read_stamp(AT_FDCWD, meter.path("store.toml").c_str(), stamp));
    CHECK(stamp.device == status.st_dev);
    CHECK(stamp.inode == status.st_ino);
    CHECK(stamp.size == 4);
    CHECK(stamp.modified == in_nanoseconds(status.st_mtim));
    CHECK(stamp.changed == in_nanoseconds(status.st_ctim));

    const timespec times[] = {{5, 7}, {5, 7}};
    REQUIRE(utimensat(AT_FDCWD, meter.path("store.toml").c_str(), times, 0) == 0);
    REQUIRE(read_stamp(AT_FDCWD, meter.path("store.toml").c_str(), stamp));
    CHECK(stamp.modified == 5'000'000'007);
}

TEST_CASE("a pipe is read to its end, even in small pieces")
{
    int ends[2];
    REQUIRE(pipe(ends) == 0);
    const OpenFile reader(ends[0]);
    const std::string piece(3000, 'x');
    const int writer = start_process([&] {
        for (int i = 0; i < 50; ++i) {
            if (write(ends[1], piece.data(), piece.size()) != static_cast<ssize_t>(piece.size()))
                return 1;
        }
        return 0;
    });
    close(ends[1]);
    std::string text = "left from before";
    CHECK(read_to_end(reader.fd, text));
    CHECK(text == std::string(150000, 'x'));
    CHECK(wait_for_process(writer) == 0);
}

TEST_CASE("endless input is rejected once it is larger than any store")
{
    const OpenFile endless = open_file(AT_FDCWD, "/dev/zero", O_RDONLY);
    std::string text;
    CHECK_FALSE(read_to_end(endless.fd, text));
    CHECK(errno == EFBIG);
}
