// The leaf file of one simulated meter.
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

// A meter's folder, and what its leaf file held when it was last read. A program sets
// `folder` and reads `leaves`; the rest is the routines' own.
struct MeterStore {
    std::string folder;
    Leaves leaves;

    std::optional<std::string> text; // what `leaves` and `error` were parsed from
    std::string error;               // why `text` could not be parsed; else empty
    std::optional<FileStamp> stamp;  // of the file; none: it must be read to know it
    unsigned parses = 0;
};

// The routines below return false when the file cannot be read, understood or written;
// `error` is then one line: "file: reason", or "file:line: reason". When the file is a symbolic
// link, they read and replace the file that it names; the link stays.

// Brings `leaves` up to date with the file as it is now. The file is read only when it may
// have changed, and parsed only when its bytes have. Times in whole seconds, as some file systems
// keep them, do not show every change: a file with such times is always read.
bool refresh_leaves(MeterStore& store, std::string& error);

// What to do with the leaves of the file. May refuse: it returns false and says why.
using LeafEdit = std::function<bool(Leaves& leaves, std::string& error)>;

// Writes what `edit` made of the leaves as they stand, with no other writer in between. The file is
// always read before.
// On failure, a refusal included, the file stays as it was.
bool edit_leaves(MeterStore& store, const LeafEdit& edit, std::string& error);

// Replaces the file by other bytes, which are not checked.
bool replace_store(const std::string& folder, std::string_view text, std::string& error);

// Replaces the file by a copy of the factory file. A meter without one is left alone.
bool restore_factory(const std::string& folder, std::string& error);

} // namespace simulator
