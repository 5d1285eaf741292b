// The store file, which holds the leaves of one simulated meter.
#pragma once

#include "simulator/files.h"
#include "simulator/leaves.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace simulator
{

constexpr char store_file[] = "store.toml";
constexpr char factory_file[] = "factory.toml";

// A meter's directory, and the leaves that were last read from the store file in this directory. A
// caller sets `folder` and reads `leaves`. The other members are for the functions below.
struct MeterStore {
    std::string folder;
    Leaves leaves;

    std::optional<std::string> text; // the text from which `leaves` and `error` were parsed
    std::string error;               // why `text` cannot be parsed; empty: no error
    std::optional<FileStamp> stamp;  // the file's stamp; empty: the next call must read the file
    unsigned parses = 0;
};

// The functions below return false when the file cannot be read, parsed or written. They then set
// `error` to one line: "FILE: REASON" or "FILE:LINE: REASON". When the file is a symbolic link, the
// functions read and replace the link's target, and the link stays.

// Updates `leaves` from the file. Reads the file only when it may have changed, and parses the text
// only when its bytes have changed. A file system that keeps times in whole seconds does not show
// every change, so a file with such times is always read.
bool refresh_leaves(MeterStore& store, std::string& error);

// A function that changes the leaves of the file. When it returns false, with the reason in
// `error`, the file is not written.
using LeafEdit = std::function<bool(Leaves& leaves, std::string& error)>;

// Locks and reads the file, applies `edit` to its leaves, and writes the result. No other writer
// can change the file in the meantime. On failure, and when `edit` returns false, the file is
// unchanged.
bool edit_leaves(MeterStore& store, const LeafEdit& edit, std::string& error);

// Replaces the contents of the store file by `text`. Does not check `text`.
bool replace_store(const std::string& folder, std::string_view text, std::string& error);

// Replaces the store file by a copy of the factory file. Does nothing when there is no factory
// file.
bool restore_factory(const std::string& folder, std::string& error);

} // namespace simulator
