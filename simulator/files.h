// Functions for plain files and directories.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace simulator
{

// An open file or directory. The destructor closes it. `fd` is -1 when nothing is open.
// The functions below never open a file as descriptor 0, 1 or 2, because these descriptors belong
// to the program. Otherwise the store could become the standard input of a program that was started
// without standard input.
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

// Identifies a version of a file without reading the file. A change of the file changes the stamp,
// unless the times of the file system are too coarse to show the change. Times are in nanoseconds.
struct FileStamp {
    std::uint64_t device;
    std::uint64_t inode;
    std::uint64_t size;
    std::int64_t modified; // last change of the contents (mtime)
    std::int64_t changed;  // last change of the contents or the attributes (ctime)

    bool operator==(const FileStamp& other) const;
};

// Returns "FILE: WHAT: REASON". REASON is the text for `errno`, which the functions below set when
// they fail.
std::string failure_text(const std::string& file, const char* what);

// In the functions below, a parameter `int folder` is the descriptor of an open directory, and
// `name` is a file in this directory. When `folder` is AT_FDCWD, `name` is a path.

OpenFile open_file(int folder, const char* name, int flags, mode_t mode = 0);

bool read_stamp(int folder, const char* name, FileStamp& stamp);

// Reads a regular file. Sets `stamp` before the first byte is read.
bool read_file(int folder, const char* name, std::string& text, FileStamp& stamp);

// Reads an open file, even a pipe, from the present position to the end.
bool read_to_end(int fd, std::string& text);

// Writes all of `text` to an open file. Fails when the disk is full, or when the file reaches the
// limit on file sizes. Makes the process ignore SIGXFSZ, so that this limit does not end the
// process.
bool write_all(int fd, std::string_view text);

// `parent_of` returns the directory of a path, or "." when the path has no slash. `name_of` returns
// the part after the last slash.
std::string parent_of(const std::string& file);
std::string name_of(const std::string& file);

// Follows symbolic links from `name`. Sets `names` to `name`, followed by the target of each link.
// The last name is not a link, or does not exist. Each name is absolute or relative to `folder`.
bool follow_links(int folder, const std::string& name, std::vector<std::string>& names);

// Opens and locks a directory. Waits while another process holds the lock. Closing the result
// releases the lock.
OpenFile lock_folder(const std::string& folder);

// A file that is locked against other writers by a lock on its directory. When the file is a
// symbolic link, the directory of the link's target is locked too.
struct LockedFile {
    OpenFile folder; // the directory of the file or link; not open when locking failed
    OpenFile target; // the link target's directory; open only if it differs from `folder`
    std::string name;

    int parent() const
    {
        return target ? target.fd : folder.fd;
    }
};

// Locks the directory `folder`. When `name` in this directory is a symbolic link, also locks the
// directory of the link's target. The file need not exist.
LockedFile lock_file(const std::string& folder, const std::string& name);

// Replaces or creates a file in the locked directory `folder`. Replaces a symbolic link itself, not
// the link's target. Keeps the permission bits. Keeps the owner and the group where the system
// permits it. After a power cut, either the old or the new file exists. On failure, the old file
// stays. There is one exception: when only the final flush of the directory fails, the new file is
// already in place.
bool replace_file(int folder, const std::string& name, std::string_view text);

// Sets `names` to the entries of an open directory, without "." and "..".
bool list_folder(int folder, std::vector<std::string>& names);

// Removes a file, or a directory with its contents. Removes a symbolic link itself, not the link's
// target.
bool remove_entry(int folder, const char* name);

} // namespace simulator
