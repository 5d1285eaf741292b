// Plain files, for a library inside a program: it never uses descriptors 0, 1 and 2, which belong
// to the program.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace simulator
{

// An open file or directory; the destructor closes it. `fd` is -1 when nothing is open.
// The functions below never open a file as descriptor 0, 1 or 2. Otherwise a program that was
// started without standard input would read its keys from the store.
struct OpenFile {
    int fd = -1;

    OpenFile() = default;
    explicit OpenFile(int opened) : fd(opened) {}
    OpenFile(OpenFile&& other) noexcept : fd(other.release()) {}
    OpenFile& operator=(OpenFile&&) = delete;
    ~OpenFile();

    explicit operator bool() const
    {
        return fd >= 0;
    }
    int release();
};

// Identifies a version of a file without reading it: a change to the file changes the stamp, within
// the precision of the file system's times. Times are in nanoseconds.
struct FileStamp {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t size = 0;
    std::int64_t modified = 0; // last change of the contents (mtime)
    std::int64_t changed = 0;  // last change of the contents or the attributes (ctime)

    bool operator==(const FileStamp& other) const;
};

// The functions below set `errno` when they fail. This returns "FILE: WHAT: REASON" with the reason
// from `errno`.
std::string failure_text(const std::string& file, const char* what);

// In all functions below, an int `folder` is the descriptor of an open directory, and `name` is a
// file in it. With AT_FDCWD, `name` is a path.

OpenFile open_file(int folder, const char* name, int flags, mode_t mode = 0);

bool read_stamp(int folder, const char* name, FileStamp& stamp);

// Reads a regular file. Takes `stamp` before it reads the first byte.
bool read_file(int folder, const char* name, std::string& text, FileStamp& stamp);

// Reads an open file, even a pipe, from its present position to the end.
bool read_to_end(int fd, std::string& text);

// Writes all of `text` to an open file. Fails when the disk is full or the limit on file sizes is
// reached. For the latter it sets the process to ignore SIGXFSZ.
bool write_all(int fd, std::string_view text);

// The two parts of a path: its directory ("." when the path has no slash), and the name in it.
std::string parent_of(const std::string& file);
std::string name_of(const std::string& file);

// Follows symbolic links from `name`. `names` becomes `name` and then the target of each link; the
// last one is not a link, or does not exist. They are relative to `folder` or absolute.
bool follow_links(int folder, const std::string& name, std::vector<std::string>& names);

// Opens a directory and locks it, waiting while another process holds the lock. Closing the result
// releases the lock.
OpenFile lock_folder(const std::string& folder);

// A file locked against other writers. When it is a symbolic link, both the directory of the link
// and that of its target are locked.
struct LockedFile {
    OpenFile folder; // the directory of the file; not open when locking failed
    OpenFile target; // the directory of the link's target; not open when it is the same directory
    std::string name;

    int parent() const
    {
        return target ? target.fd : folder.fd;
    }
};

// Locks the directory `folder`. When its file `name` is a symbolic link, also locks the directory
// of the link's target. The file need not exist.
LockedFile lock_file(const std::string& folder, const std::string& name);

// Replaces or creates a file in the locked directory `folder`. Replaces a symbolic link itself, not
// its target. Keeps the permission bits, and the owner and the group where the system permits it.
// After a power cut either the old or the new file is there. On failure the old file stays, with
// one exception: when only the final flush of the directory fails, the new file is in place.
bool replace_file(int folder, const std::string& name, std::string_view text);

// Lists an open directory, without "." and "..".
bool list_folder(int folder, std::vector<std::string>& names);

// Removes a file, or a directory with its contents. Removes a symbolic link, not its target.
bool remove_entry(int folder, const char* name);

} // namespace simulator
