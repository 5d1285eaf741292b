// The file with the leaves of one simulated meter.
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

// A meter's directory and the leaves last read from its store file. A caller sets `folder` and
// reads `leaves`; the functions below use the other members.
struct MeterStore {
    std::string folder;
    Leaves leaves;

    std::optional<std::string> text; // the text that `leaves` and `error` were parsed from
    std::string error;               // why `text` cannot be parsed; empty: it can
    std::optional<FileStamp> stamp;  // of the file; empty: the next call must read the file
    unsigned parses = 0;
};

// The functions below return false when the file cannot be read, parsed or written. `error` is then
// one line: "FILE: REASON" or "FILE:LINE: REASON". When the file is a symbolic link, they read and
// replace the target; the link stays.

// Updates `leaves` from the file. Reads the file only when it may have changed, and parses it only
// when its bytes have changed. Times in whole seconds, which some file systems keep, do not show
// every change, so a file with such times is always read.
bool refresh_leaves(MeterStore& store, std::string& error);

// Changes the leaves of the file. May return false with the reason in `error`; the file is then not
// written.
using LeafEdit = std::function<bool(Leaves& leaves, std::string& error)>;

// Locks and reads the file, applies `edit` to its leaves, and writes the result. No other writer
// can change the file in between. On failure, and when `edit` returns false, the file is unchanged.
bool edit_leaves(MeterStore& store, const LeafEdit& edit, std::string& error);

// Replaces the file's contents by `text`, without checking it.
bool replace_store(const std::string& folder, std::string_view text, std::string& error);

// Replaces the file by a copy of the factory file. Does nothing when there is no factory file.
bool restore_factory(const std::string& folder, std::string& error);

} // namespace simulator
