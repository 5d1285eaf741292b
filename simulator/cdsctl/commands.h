// The commands of cdsctl, and what all of them keep to.
#pragma once

#include <string>
#include <vector>

namespace cdsctl
{

// The exit statuses of every command.
enum Status {
    done = 0,
    missing_or_different = 1, // a leaf is missing, or a difference was found
    wrong_usage = 2,          // the request cannot be granted as it stands; nothing was changed
    store_failed = 3,         // the store or another file cannot be read or written
};

struct Request {
    std::string folder; // of the meter; empty: none is named
    std::vector<std::string> operands;
    std::string type; // of the values to set; empty: as the leaves have it
    bool json = false;
};

// Each prints its answer on standard output and complaints on standard error.
Status list_leaves(const Request& request);
Status get_leaves(const Request& request);
Status set_leaves(const Request& request);
Status clear_leaves(const Request& request);
Status watch_leaves(const Request& request);
Status dump_store(const Request& request);
Status load_store(const Request& request);
Status show_differences(const Request& request);
Status reset_store(const Request& request);
Status make_meter(const Request& request);

struct Command {
    const char* name;
    const char* operands;
    unsigned fewest; // operands
    unsigned most;
    bool has_json;
    bool has_type;
    Status (*run)(const Request& request);
    const char* summary;
    const char* details;
};

constexpr unsigned any_number = ~0U;

// clang-format off
constexpr Command commands[] = {   // in the order of the help text
    { "list",  "[PREFIX]",                   0, 1,          true,  false, list_leaves,
      "Print leaves as PATH = VALUE, the values as TOML writes them",
      "PREFIX is whole path components: /VMIC is not the beginning of /VMICX." },
    { "get",   "PATH...",                    1, any_number, true,  false, get_leaves,
      "Print the values of leaves, one a line",
      "A missing leaf is named on standard error (with --json it is also null); exit status 1." },
    { "set",   "PATH VALUE [PATH VALUE]...", 2, any_number, false, true,  set_leaves,
      "Set leaves, all of them in one write",
      "A leaf keeps its type. A new one has that of the VALUE as TOML reads it (true, 5, \"5\");\n"
      "what is no TOML value is a string as it stands, as is every VALUE of a string leaf.\n"
      "A new leaf is named on standard error, with the nearest existing path when one is close.\n"
      "Every word in the place of a VALUE is one, also an option; only -- is not." },
    { "clear", "PATH...",                    1, any_number, false, false, clear_leaves,
      "Remove leaves, all of them in one write",
      "A missing leaf is named on standard error, the others are removed; exit status 1." },
    { "watch", "[PREFIX]",                   0, 1,          true,  false, watch_leaves,
      "Print each leaf that changes as PATH: OLD -> NEW, until interrupted",
      "PREFIX is whole path components: /VMIC is not the beginning of /VMICX." },
    { "dump",  "",                           0, 0,          false, false, dump_store,
      "Print the whole store as TOML", "" },
    { "load",  "FILE",                       1, 1,          false, false, load_store,
      "Replace the store by a dump",
      "FILE \"-\" is standard input. It is checked before anything is replaced; one of\n"
      "0 bytes is refused." },
    { "diff",  "FILE [FILE]",                1, 2,          true,  false, show_differences,
      "Print what differs as PATH: OLD -> NEW",
      "OLD is that of the first FILE, NEW that of the second, or else of the store.\n"
      "FILE \"-\" is standard input. Exit status 1 when anything differs." },
    { "reset", "",                           0, 0,          false, false, reset_store,
      "Restore the factory defaults", "" },
    { "init",  "DIR",                        1, 1,          false, false, make_meter,
      "Make the folder of a new meter with the factory defaults",
      "A folder that holds a store is refused. A factory.toml in it is kept; the store begins\n"
      "as a copy of it." },
};
// clang-format on

// Prints "cdsctl: ...", one line on standard error.
void complain(const std::string& text);

// The same, for `store_failed`; `file` with the reason in `errno`.
Status fail(const std::string& error);
Status fail(const std::string& file, const char* what);

// Complains when no meter is named.
bool has_folder(const Request& request);

} // namespace cdsctl
