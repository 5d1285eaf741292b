#include "simulator/files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <utility>

namespace simulator
{

namespace
{

constexpr int first_own_descriptor = 3;
constexpr mode_t permission_bits = 07777;

// Repeats a system call that a signal has broken off.
template <typename Call>
auto unbroken(Call call)
{
    for (;;) {
        const auto result = call();
        if (result != -1 || errno != EINTR)
            return result;
    }
}

std::int64_t nanoseconds(const timespec& time)
{
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

// More than any meter's leaves need; a file beyond it is refused before memory is asked for.
constexpr std::uint64_t largest_file = 256 * 1024 * 1024;

FileStamp stamp_of(const struct stat& status)
{
    FileStamp stamp;
    stamp.device = status.st_dev;
    stamp.inode = status.st_ino;
    stamp.size = static_cast<std::uint64_t>(status.st_size);
    stamp.modified = nanoseconds(status.st_mtim);
    stamp.changed = nanoseconds(status.st_ctim);
    return stamp;
}

// `text` has the size that is expected, and one byte more to meet the end.
bool read_expected(int fd, std::string& text)
{
    std::size_t filled = 0;
    for (;;) {
        if (filled > largest_file) {
            errno = EFBIG;
            return false;
        }
        if (filled == text.size()) // there is more than was expected
            text.resize(static_cast<std::size_t>(
                std::min<std::uint64_t>(2 * filled + 1, largest_file + 1)));
        const ssize_t got =
            unbroken([&] { return ::read(fd, text.data() + filled, text.size() - filled); });
        if (got < 0)
            return false;
        if (got == 0)
            break;
        filled += static_cast<std::size_t>(got);
    }
    text.resize(filled);
    return true;
}

bool write_all(int fd, std::string_view text)
{
    // Past a limit on the size of files a write then fails, instead of ending the program.
    std::signal(SIGXFSZ, SIG_IGN);
    while (!text.empty()) {
        errno = ENOSPC; // what a write of nothing means
        const ssize_t written = unbroken([&] { return ::write(fd, text.data(), text.size()); });
        if (written <= 0)
            return false;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

bool flush(int fd)
{
    return unbroken([&] { return fsync(fd); }) == 0;
}

// What a killed writer left under the name is removed, not opened: it may be a link, or
// closed to writing.
OpenFile create_afresh(int folder, const char* name, mode_t mode)
{
    constexpr int flags = O_WRONLY | O_CREAT | O_EXCL;
    OpenFile file = open_file(folder, name, flags, mode);
    if (file || errno != EEXIST || unlinkat(folder, name, 0) != 0)
        return file;
    return open_file(folder, name, flags, mode);
}

void discard(int folder, const char* name)
{
    const int reason = errno;
    unlinkat(folder, name, 0);
    errno = reason;
}

} // namespace

OpenFile::~OpenFile()
{
    if (fd < 0)
        return;
    const int reason = errno;
    close(fd);
    errno = reason;
}

int OpenFile::release()
{
    return std::exchange(fd, -1);
}

bool FileStamp::operator==(const FileStamp& other) const
{
    return device == other.device && inode == other.inode && size == other.size &&
           modified == other.modified && changed == other.changed;
}

std::string failure_text(const std::string& file, const char* what)
{
    return file + ": " + what + ": " + std::strerror(errno);
}

OpenFile open_file(int folder, const char* name, int flags, mode_t mode)
{
    OpenFile file(unbroken([&] { return openat(folder, name, flags | O_CLOEXEC, mode); }));
    if (file.fd < 0 || file.fd >= first_own_descriptor)
        return file;
    return OpenFile(fcntl(file.fd, F_DUPFD_CLOEXEC, first_own_descriptor));
}

bool read_stamp(int folder, const char* name, FileStamp& stamp)
{
    struct stat status;
    if (fstatat(folder, name, &status, 0) != 0)
        return false;
    stamp = stamp_of(status);
    return true;
}

bool read_file(int folder, const char* name, std::string& text, FileStamp& stamp)
{
    // Without O_NONBLOCK a pipe of that name would be waited for.
    const OpenFile file = open_file(folder, name, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    struct stat status;
    if (!file || fstat(file.fd, &status) != 0)
        return false;
    if (!S_ISREG(status.st_mode)) {
        errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
        return false;
    }
    stamp = stamp_of(status);
    if (stamp.size > largest_file) {
        errno = EFBIG;
        return false;
    }
    text.resize(static_cast<std::size_t>(stamp.size) + 1);
    return read_expected(file.fd, text);
}

bool read_to_end(int fd, std::string& text)
{
    text.resize(4096);
    return read_expected(fd, text);
}

OpenFile lock_folder(const std::string& folder)
{
    OpenFile opened = open_file(AT_FDCWD, folder.c_str(), O_RDONLY | O_DIRECTORY);
    if (opened && unbroken([&] { return flock(opened.fd, LOCK_EX); }) != 0)
        return {};
    return opened;
}

bool replace_file(int folder, const std::string& name, std::string_view text)
{
    struct stat old;
    const bool replaces = fstatat(folder, name.c_str(), &old, 0) == 0;
    if (!replaces && errno != ENOENT) // it may be there, with permission bits to be kept
        return false;
    const mode_t mode = replaces ? old.st_mode & permission_bits : 0666;

    const std::string fresh_name = name + ".new";
    const OpenFile fresh = create_afresh(folder, fresh_name.c_str(), mode);
    if (!fresh)
        return false;
    const bool replaced = (!replaces || fchmod(fresh.fd, mode) == 0) && write_all(fresh.fd, text) &&
                          flush(fresh.fd) &&
                          renameat(folder, fresh_name.c_str(), folder, name.c_str()) == 0;
    if (!replaced) {
        discard(folder, fresh_name.c_str());
        return false;
    }
    return flush(folder) || errno == EINVAL; // EINVAL: a file system that has no such flush
}

bool list_folder(int folder, std::vector<std::string>& names)
{
    names.clear();
    OpenFile again = open_file(folder, ".", O_RDONLY | O_DIRECTORY);
    DIR* entries = again ? fdopendir(again.fd) : nullptr;
    if (entries == nullptr)
        return false;
    again.release(); // closedir closes it

    errno = 0;
    while (const dirent* entry = readdir(entries)) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..")
            names.emplace_back(name);
    }
    const int reason = errno;
    closedir(entries);
    errno = reason;
    return reason == 0;
}

bool remove_entry(int folder, const char* name)
{
    if (unlinkat(folder, name, 0) == 0)
        return true;
    if (errno != EISDIR && errno != EPERM)
        return false;

    {
        std::vector<std::string> names;
        const OpenFile inner = open_file(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
        if (!inner || !list_folder(inner.fd, names))
            return false;
        for (const std::string& inner_name : names) {
            if (!remove_entry(inner.fd, inner_name.c_str()))
                return false;
        }
    }
    return unlinkat(folder, name, AT_REMOVEDIR) == 0;
}

} // namespace simulator
