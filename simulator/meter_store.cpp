#include "simulator/meter_store.h"

#include "simulator/toml_files.h"
#include "simulator/toml_text.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdint>
#include <ctime>
#include <new>
#include <utility>

namespace simulator
{

namespace
{

constexpr std::int64_t second = 1'000'000'000; // nanoseconds

// The clock for file times advances in steps of a few milliseconds. A file that is written twice
// within `clock_doubt` nanoseconds may keep its stamp.
constexpr std::int64_t clock_doubt = second / 10;

std::int64_t present_time()
{
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return std::int64_t{now.tv_sec} * second + now.tv_nsec;
}

bool is_distant(std::int64_t file_time, std::int64_t now)
{
    return file_time < now - clock_doubt || file_time > now + clock_doubt;
}

// Some file systems keep times in steps of one or two seconds, so two versions of a file may have
// the same times. A time in whole seconds therefore does not prove that a file is unchanged.
bool is_whole_seconds(std::int64_t file_time)
{
    return file_time % second == 0;
}

// Returns true when every change of the file after `now` is certain to alter `file_time`.
bool shows_changes(std::int64_t file_time, std::int64_t now)
{
    return is_distant(file_time, now) && !is_whole_seconds(file_time);
}

std::string path_of(const MeterStore& store)
{
    return store.folder + "/" + store_file;
}

bool fail(const std::string& file, const char* what, std::string& error)
{
    error = failure_text(file, what);
    return false;
}

// Runs `work`. Reports running out of memory as a read error.
template <typename Work>
bool within_memory(const std::string& file, std::string& error, Work work)
{
    try {
        return work();
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return fail(file, "cannot be read", error);
    }
}

// Parses `text`, the contents of the store file, into the store. Does nothing when `text` equals
// the text that was parsed before.
void take_text(MeterStore& store, std::string&& text)
{
    if (store.text == text)
        return;
    store.text.reset(); // stays empty when parsing runs out of memory
    store.error.clear();
    parse_leaves(text, path_of(store), store.leaves, store.error);
    ++store.parses;
    store.text = std::move(text);
}

// Reads the store file, even when its stamp is unchanged. `folder` and `name` are as for
// `read_file`.
bool read_again(MeterStore& store, int folder, const char* name, std::string& error)
{
    const std::int64_t now = present_time();
    FileStamp stamp;
    std::string text;
    if (!read_file(folder, name, text, stamp))
        return fail(path_of(store), "cannot be read", error);
    store.stamp.reset();
    take_text(store, std::move(text));
    if (shows_changes(stamp.modified, now) && shows_changes(stamp.changed, now))
        store.stamp = stamp;
    error = store.error;
    return error.empty();
}

bool is_unchanged(const MeterStore& store, const std::string& file)
{
    FileStamp stamp;
    return store.stamp && read_stamp(AT_FDCWD, file.c_str(), stamp) && stamp == *store.stamp;
}

bool refresh(MeterStore& store, std::string& error)
{
    const std::string file = path_of(store);
    if (!is_unchanged(store, file))
        return read_again(store, AT_FDCWD, file.c_str(), error);
    error = store.error;
    return error.empty();
}

bool can_be_written(const Leaves& leaves, const std::string& file, std::string& error)
{
    for (const auto& [path, value] : leaves) {
        const std::string* text = std::get_if<std::string>(&value);
        if (is_utf8(path) && (text == nullptr || is_utf8(*text)))
            continue;
        error = file + ": leaf " + toml_string(path) + " is not UTF-8 text";
        return false;
    }
    return true;
}

// Does the work of `edit_leaves`. May throw std::bad_alloc.
bool edit_locked(MeterStore& store, const LeafEdit& edit, std::string& error)
{
    const LockedFile file = lock_file(store.folder, store_file);
    if (!file.folder)
        return fail(store.folder, "cannot be locked", error);
    if (!read_again(store, file.parent(), file.name.c_str(), error)) // reads the file in any case
        return false;

    Leaves leaves = store.leaves;
    if (!edit(leaves, error) || !can_be_written(leaves, path_of(store), error))
        return false;
    std::string text = toml_text(leaves);
    store.stamp.reset();
    if (!replace_file(file.parent(), file.name, text))
        return fail(path_of(store), "cannot be written", error);

    store.leaves = std::move(leaves);
    store.text = std::move(text);
    return true;
}

} // namespace

bool refresh_leaves(MeterStore& store, std::string& error)
{
    return within_memory(path_of(store), error, [&] { return refresh(store, error); });
}

bool edit_leaves(MeterStore& store, const LeafEdit& edit, std::string& error)
{
    return within_memory(path_of(store), error, [&] { return edit_locked(store, edit, error); });
}

bool replace_store(const std::string& folder, std::string_view text, std::string& error)
{
    const LockedFile file = lock_file(folder, store_file);
    if (!file.folder)
        return fail(folder, "cannot be locked", error);
    if (!replace_file(file.parent(), file.name, text))
        return fail(folder + "/" + store_file, "cannot be written", error);
    return true;
}

bool restore_factory(const std::string& folder, std::string& error)
{
    const std::string file = folder + "/" + factory_file;
    return within_memory(file, error, [&] {
        std::string text;
        FileStamp stamp;
        if (!read_file(AT_FDCWD, file.c_str(), text, stamp))
            return errno == ENOENT || fail(file, "cannot be read", error);
        return replace_store(folder, text, error);
    });
}

} // namespace simulator
