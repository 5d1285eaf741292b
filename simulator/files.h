// Plain files, as a program may handle them that owns none of its standard descriptors.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace simulator
{

// An open file or folder; closed with the record. `fd` is -1 when there is none.
// A file opened by the routines below never has one of the descriptors 0, 1 and 2: a program
// started without a standard input would otherwise take its keys from the store.
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

// What tells one state of a file from another without reading it. Times are in nanoseconds.
struct FileStamp {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t size = 0;
    std::int64_t modified = 0; // its content
    std::int64_t changed = 0;  // anything about it

    bool operator==(const FileStamp& other) const;
};

// The routines below leave `errno` as the reason when they fail. This tells it: "file: what:
// reason".
std::string failure_text(const std::string& file, const char* what);

// `folder` is an open folder, or AT_FDCWD with a whole file path for `name`.

OpenFile open_file(int folder, const char* name, int flags, mode_t mode = 0);

bool read_stamp(int folder, const char* name, FileStamp& stamp);

// Reads all of a regular file. `stamp` is that of the moment before its first byte was read.
bool read_file(int folder, const char* name, std::string& text, FileStamp& stamp);

// Reads what is left of any open file, a pipe included.
bool read_to_end(int fd, std::string& text);

// Writes all of the text to any open file. Past a limit on the size of files it fails, as it does
// on a full disk, and the signal for that is ignored from then on.
bool write_all(int fd, std::string_view text);

// The folder of a file as a path, and its name in there. A path without a slash is in ".".
std::string parent_of(const std::string& file);
std::string name_of(const std::string& file);

// Where symbolic links lead from `name`: first `name` itself, last what is no link or is missing.
// All are relative to `folder`, unless they are whole paths.
bool follow_links(int folder, const std::string& name, std::vector<std::string>& names);

// Opens `folder` and waits until nobody else holds its lock. Closing it gives the lock back.
OpenFile lock_folder(const std::string& folder);

// A file that nobody else writes: the folders where a writer can come upon it are locked.
struct LockedFile {
    OpenFile folder; // that was named; none: it cannot be locked
    OpenFile target; // the folder to which symbolic links lead from there; none: the same one
    std::string name;

    int parent() const
    {
        return target ? target.fd : folder.fd;
    }
};

// Locks `folder`, then the folder to which symbolic links lead from its file `name`, which need not
// exist.
LockedFile lock_file(const std::string& folder, const std::string& name);

// Replaces a file of the locked `folder`, or makes it; a symbolic link is replaced as such. Keeps
// the permission bits, and the owner and the group where the system permits it. A power cut
// leaves the old or the new file. On failure the old file stays, but for one case: when only
// the last flush, that of the folder, fails, the new file stands.
bool replace_file(int folder, const std::string& name, std::string_view text);

// Everything in an open folder but "." and "..".
bool list_folder(int folder, std::vector<std::string>& names);

// Removes a file, or a folder with all that is in it. A symbolic link goes, not what it names.
bool remove_entry(int folder, const char* name);

} // namespace simulator
