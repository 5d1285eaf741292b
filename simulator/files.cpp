#include "simulator/files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
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

// Makes a system call. Repeats the call when a signal interrupted it.
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

// The size limit in bytes for a file that is read. No meter needs a file of this size. A larger
// file is rejected before it uses up the memory.
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

// Reads to the end of the file. The caller has resized `text` to the expected file size plus one
// byte. The extra byte is for the last read, which finds the end of the file.
bool read_expected(int fd, std::string& text)
{
    std::size_t filled = 0;
    for (;;) {
        if (filled > largest_file) {
            errno = EFBIG;
            return false;
        }
        if (filled == text.size()) // the file is larger than expected
            text.resize(static_cast<std::size_t>(
                std::min<std::uint64_t>(2 * text.size(), largest_file + 1)));
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

bool flush(int fd)
{
    return unbroken([&] { return fsync(fd); }) == 0;
}

// Creates a file. An existing file with this name was left by a killed writer. The function removes
// such a file instead of opening it, because the file may be a link or write-protected.
OpenFile create_new(int folder, const char* name, mode_t mode)
{
    constexpr int flags = O_WRONLY | O_CREAT | O_EXCL;
    OpenFile file = open_file(folder, name, flags, mode);
    if (file || errno != EEXIST || unlinkat(folder, name, 0) != 0)
        return file;
    return open_file(folder, name, flags, mode);
}

// Returns true when `error` means that this user may not change a file's owner, or that the file
// system does not support a change of owner.
bool means_not_permitted(int error)
{
    return error == EPERM || error == EINVAL || error == ENOSYS || error == EOPNOTSUPP;
}

// Gives the new file the owner and the group of the old file. When the system does not permit the
// owner, tries the group alone. Also returns true when the system permits neither change.
bool keep_owner(int fd, const struct stat& old)
{
    constexpr auto same_owner = static_cast<uid_t>(-1);
    struct stat fresh;
    if (fstat(fd, &fresh) != 0)
        return false;
    if (fresh.st_uid == old.st_uid && fresh.st_gid == old.st_gid)
        return true;
    if (fchown(fd, old.st_uid, old.st_gid) == 0)
        return true;
    return means_not_permitted(errno) &&
           (fchown(fd, same_owner, old.st_gid) == 0 || means_not_permitted(errno));
}

// Sets the owner before the permission bits, because a change of owner clears some of these bits.
bool keep_attributes(int fd, const struct stat& old)
{
    return keep_owner(fd, old) && fchmod(fd, old.st_mode & permission_bits) == 0;
}

void discard(int folder, const char* name)
{
    const int reason = errno;
    unlinkat(folder, name, 0);
    errno = reason;
}

bool lock(const OpenFile& folder)
{
    return unbroken([&] { return flock(folder.fd, LOCK_EX); }) == 0;
}

OpenFile open_folder(int folder, const std::string& name)
{
    return open_file(folder, name.c_str(), O_RDONLY | O_DIRECTORY);
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
    // Without O_NONBLOCK, opening a pipe would wait for a writer.
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

bool write_all(int fd, std::string_view text)
{
    // While SIGXFSZ is ignored, a write beyond the limit on file sizes fails. Otherwise the signal
    // would end the program.
    std::signal(SIGXFSZ, SIG_IGN);
    while (!text.empty()) {
        errno = ENOSPC; // the reason when `write` returns 0
        const ssize_t written = unbroken([&] { return ::write(fd, text.data(), text.size()); });
        if (written <= 0)
            return false;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

std::string parent_of(const std::string& file)
{
    const std::size_t slash = file.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : file.substr(0, slash);
}

std::string name_of(const std::string& file)
{
    return file.substr(file.rfind('/') + 1); // this is the whole path if it has no slash
}

bool follow_links(int folder, const std::string& name, std::vector<std::string>& names)
{
    constexpr std::size_t most_links = 40; // the kernel's limit
    names = {name};
    for (;;) {
        char buffer[PATH_MAX];
        const ssize_t size = readlinkat(folder, names.back().c_str(), buffer, sizeof buffer);
        if (size < 0)
            return errno == EINVAL || errno == ENOENT; // EINVAL: not a link; ENOENT: no file
        if (names.size() > most_links) {
            errno = ELOOP;
            return false;
        }
        const std::string target(buffer, static_cast<std::size_t>(size));
        names.push_back(target[0] == '/' ? target : parent_of(names.back()) + "/" + target);
    }
}

OpenFile lock_folder(const std::string& folder)
{
    OpenFile opened = open_folder(AT_FDCWD, folder);
    if (opened && !lock(opened))
        return {};
    return opened;
}

LockedFile lock_file(const std::string& folder, const std::string& name)
{
    OpenFile locked = lock_folder(folder);
    std::vector<std::string> names;
    if (!locked || !follow_links(locked.fd, name, names))
        return {};
    if (names.size() == 1)
        return {std::move(locked), {}, name};

    OpenFile target = open_folder(locked.fd, parent_of(names.back()));
    FileStamp here;
    FileStamp there;
    if (!target || !read_stamp(locked.fd, ".", here) || !read_stamp(target.fd, ".", there))
        return {};
    if (here.device == there.device && here.inode == there.inode) // a second lock would block
        return {std::move(locked), {}, name_of(names.back())};
    if (!lock(target))
        return {};
    return {std::move(locked), std::move(target), name_of(names.back())};
}

bool replace_file(int folder, const std::string& name, std::string_view text)
{
    struct stat old;
    const bool replaces = fstatat(folder, name.c_str(), &old, 0) == 0;
    if (!replaces && errno != ENOENT) // the file may exist, but its permission bits are unknown
        return false;
    const mode_t mode = replaces ? old.st_mode & permission_bits : 0666;

    const std::string fresh_name = name + ".new";
    const OpenFile fresh = create_new(folder, fresh_name.c_str(), mode);
    if (!fresh)
        return false;
    const bool replaced = (!replaces || keep_attributes(fresh.fd, old)) &&
                          write_all(fresh.fd, text) && flush(fresh.fd) &&
                          renameat(folder, fresh_name.c_str(), folder, name.c_str()) == 0;
    if (!replaced) {
        discard(folder, fresh_name.c_str());
        return false;
    }
    return flush(folder) || errno == EINVAL; // EINVAL: the file system cannot flush a directory
}

bool list_folder(int folder, std::vector<std::string>& names)
{
    names.clear();
    OpenFile again = open_folder(folder, ".");
    DIR* entries = again ? fdopendir(again.fd) : nullptr;
    if (entries == nullptr)
        return false;
    again.release(); // closedir closes the descriptor

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
