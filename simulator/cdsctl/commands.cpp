#include "simulator/cdsctl/commands.h"

#include "simulator/cdsctl/changes.h"
#include "simulator/cdsctl/json_text.h"
#include "simulator/cdsctl/near_path.h"
#include "simulator/cdsctl/shipped_factory.h"
#include "simulator/cdsctl/value_words.h"
#include "simulator/files.h"
#include "simulator/meter_store.h"
#include "simulator/toml_files.h"
#include "simulator/toml_text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <map>

namespace cdsctl
{

namespace
{

using namespace simulator;

void print(const std::string& text)
{
    std::fwrite(text.data(), 1, text.size(), stdout); // `main` reports a failed write
}

template <typename Items, typename Line>
void print_lines(const Items& items, Line line_of)
{
    std::string text;
    for (const auto& item : items)
        text += line_of(item) + "\n";
    print(text);
}

std::string file_of(const Request& request, const char* name)
{
    return request.folder + "/" + name;
}

bool read_store(const Request& request, Leaves& leaves)
{
    MeterStore store;
    std::string error;
    store.folder = request.folder;
    if (!has_folder(request))
        return false;
    if (!refresh_leaves(store, error)) {
        complain(error);
        return false;
    }
    leaves = std::move(store.leaves);
    return true;
}

// Prints an error about the missing leaf `path`. Adds a similar path if one exists.
void complain_of_missing(const Request& request, const std::string& path, const Leaves& leaves)
{
    complain(file_of(request, store_file) + ": no leaf " + toml_string(path) +
             near_path_hint(path, leaves));
}

std::string bare_text(const LeafValue& value)
{
    const std::string* text = std::get_if<std::string>(&value);
    return text == nullptr ? toml_value(value) : *text;
}

// Applies `edit` to the leaves of the store. Returns the status from `edit`, or prints an error and
// returns `store_failed`. The file is not written when `edit` changes nothing, or when it returns
// `wrong_usage`. `edit` must itself print the reason for `wrong_usage`.
template <typename Edit>
Status edit_store(const Request& request, Edit edit)
{
    if (!has_folder(request))
        return store_failed;
    MeterStore store;
    store.folder = request.folder;
    Status status = done;
    const LeafEdit run = [&](Leaves& leaves, std::string&) {
        status = edit(leaves);
        return status != wrong_usage && leaves != store.leaves;
    };
    std::string error; // stays empty when `run` returns false
    if (edit_leaves(store, run, error) || error.empty())
        return status;
    return fail(error);
}

// Sets the leaf `path` to the value that `word` describes. Prints an error and returns false when
// the path or the value is invalid.
bool set_leaf(const Request& request, const std::string& path, const std::string& word,
              Leaves& leaves)
{
    const auto leaf = leaves.find(path);
    LeafValue value;
    std::string reason;
    if (path.empty())
        reason = "the path is empty";
    else if (!is_utf8(path))
        reason = "the path is not UTF-8 text";
    else if (read_value_word(word, request.type, leaf == leaves.end() ? nullptr : &leaf->second,
                             value, reason))
        leaves[path] = value;
    if (!reason.empty())
        complain(file_of(request, store_file) + ": leaf " + toml_string(path) + ": " + reason);
    return reason.empty();
}

std::string shown_operand(const std::string& file)
{
    return file == "-" ? "standard input" : file;
}

// Reads the operand FILE, which may be a pipe. The FILE "-" is standard input.
bool read_operand(const std::string& file, std::string& text)
{
    if (file == "-")
        return read_to_end(STDIN_FILENO, text);
    const OpenFile opened = open_file(AT_FDCWD, file.c_str(), O_RDONLY);
    return opened && read_to_end(opened.fd, text);
}

Status read_dump(const std::string& file, std::string& text, Leaves& leaves)
{
    if (!read_operand(file, text))
        return fail(shown_operand(file), "cannot be read");
    std::string error;
    return parse_leaves(text, shown_operand(file), leaves, error) ? done : fail(error);
}

Status replace_by(const Request& request, const std::string& text)
{
    std::string error;
    return replace_store(request.folder, text, error) ? done : fail(error);
}

// Creates the directory `folder` and its parents. Sets `errno` on failure.
bool make_folders(const std::string& folder)
{
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    errno = error.value();
    return !error;
}

bool is_there(int folder, const char* name)
{
    struct stat status;
    return fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0;
}

} // namespace

void complain(const std::string& text)
{
    std::fprintf(stderr, "cdsctl: %s\n", text.c_str());
}

Status fail(const std::string& error)
{
    complain(error);
    return store_failed;
}

Status fail(const std::string& file, const char* what)
{
    return fail(failure_text(file, what));
}

bool has_folder(const Request& request)
{
    if (request.folder.empty())
        complain("no meter is named: give -C DIR or set METER_SIM_DIR");
    return !request.folder.empty();
}

Status list_leaves(const Request& request)
{
    Leaves leaves;
    if (!read_store(request, leaves))
        return store_failed;
    if (!request.operands.empty())
        leaves = leaves_below(leaves, request.operands.front());
    if (request.json)
        print(json_leaves({leaves.begin(), leaves.end()}) + "\n");
    else
        print_lines(leaves, [](const auto& leaf) { return leaf_line(leaf.first, leaf.second); });
    return done;
}

Status get_leaves(const Request& request)
{
    Leaves leaves;
    if (!read_store(request, leaves))
        return store_failed;

    Status status = done;
    FoundLeaves found;
    std::string text;
    for (const std::string& path : request.operands) {
        const auto leaf = leaves.find(path);
        if (leaf == leaves.end()) {
            complain_of_missing(request, path, leaves);
            found[path] = std::nullopt;
            status = missing_or_different;
        } else {
            found[path] = leaf->second;
            text += bare_text(leaf->second) + "\n";
        }
    }
    print(request.json ? json_leaves(found) + "\n" : text);
    return status;
}

Status set_leaves(const Request& request)
{
    const std::vector<std::string>& words = request.operands;
    std::map<std::string, std::string> new_leaves; // maps a new path to its hint at a similar path
    const Status status = edit_store(request, [&](Leaves& leaves) {
        for (std::size_t i = 0; i < words.size(); i += 2) {
            if (leaves.count(words[i]) == 0)
                new_leaves.emplace(words[i], near_path_hint(words[i], leaves));
        }
        for (std::size_t i = 0; i < words.size(); i += 2) {
            if (!set_leaf(request, words[i], words[i + 1], leaves))
                return wrong_usage;
        }
        return done;
    });
    if (status == done) {
        for (const auto& [path, hint] : new_leaves)
            complain(file_of(request, store_file) + ": new leaf " + toml_string(path) + hint);
    }
    return status;
}

Status clear_leaves(const Request& request)
{
    return edit_store(request, [&](Leaves& leaves) {
        const Leaves before = leaves; // a path that is given twice must not be reported as missing
        Status status = done;
        for (const std::string& path : request.operands) {
            leaves.erase(path);
            if (before.count(path) == 0) {
                complain_of_missing(request, path, before);
                status = missing_or_different;
            }
        }
        return status;
    });
}

Status dump_store(const Request& request)
{
    Leaves leaves;
    if (!read_store(request, leaves))
        return store_failed;
    print(toml_text(leaves));
    return done;
}

Status load_store(const Request& request)
{
    const std::string& file = request.operands.front();
    std::string text;
    Leaves leaves;
    if (!has_folder(request))
        return store_failed;
    if (const Status status = read_dump(file, text, leaves))
        return status;
    if (text.empty())
        return fail(shown_operand(file) + ": no leaves; the store is left as it is");
    return replace_by(request, toml_text(leaves));
}

Status show_differences(const Request& request)
{
    const std::vector<std::string>& files = request.operands;
    std::string text;
    Leaves before;
    Leaves after;
    if (files.size() == 2 && files[0] == "-" && files[1] == "-") {
        complain("standard input can be read only once");
        return wrong_usage;
    }
    if (const Status status = read_dump(files[0], text, before))
        return status;
    if (files.size() == 1 && !read_store(request, after))
        return store_failed;
    if (files.size() == 2) {
        if (const Status status = read_dump(files[1], text, after))
            return status;
    }

    const std::vector<Change> changes = changes_between(before, after);
    if (request.json)
        print(json_changes(changes) + "\n");
    else
        print_lines(changes, change_line);
    return changes.empty() ? done : missing_or_different;
}

Status reset_store(const Request& request)
{
    std::string text;
    Leaves leaves;
    if (!has_folder(request))
        return store_failed;
    if (const Status status = read_dump(file_of(request, factory_file), text, leaves))
        return status;
    return replace_by(request, text);
}

Status make_meter(const Request& request)
{
    const std::string& folder = request.operands.front();
    if (folder.empty()) {
        complain("the name of the folder is empty");
        return wrong_usage;
    }
    if (!make_folders(folder))
        return fail(folder, "cannot be created");
    const OpenFile locked = lock_folder(folder);
    if (!locked)
        return fail(folder, "cannot be locked");
    if (is_there(locked.fd, store_file)) {
        complain(folder + ": a store already exists");
        return wrong_usage;
    }
    std::string text = shipped_factory;
    Leaves leaves;
    if (is_there(locked.fd, factory_file)) {
        if (const Status status = read_dump(folder + "/" + factory_file, text, leaves))
            return status;
    }
    if (!make_folders(folder + "/jffs/downloads"))
        return fail(folder + "/jffs/downloads", "cannot be created");
    for (const char* name : {factory_file, store_file}) {
        if (!is_there(locked.fd, name) && !replace_file(locked.fd, name, text))
            return fail(folder + "/" + name, "cannot be written");
    }
    return done;
}

} // namespace cdsctl
