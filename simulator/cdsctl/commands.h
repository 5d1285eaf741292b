// The commands of cdsctl, and the types and functions that the commands share.
#pragma once

#include <string>
#include <vector>

namespace cdsctl
{

// The exit statuses of every command.
enum Status {
    done = 0,
    missing_or_different = 1, // a leaf is missing, or a difference was found
    wrong_usage = 2,          // the request is wrong or cannot be granted; nothing was changed
    store_failed = 3,         // the store or another file cannot be read or written
};

struct Request {
    std::string folder; // the meter's directory; empty: not given
    std::vector<std::string> operands;
    std::string type; // the type of the values to set; empty: not given
    bool json = false;
};

// Each command prints its result on standard output and errors on standard error.
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
    unsigned fewest; // the fewest operands
    unsigned most;   // the most operands
    bool has_json;
    bool has_type;
    Status (*run)(const Request& request);
    const char* summary;
    const char* details;
};

constexpr unsigned any_number = ~0U;

// clang-format off
constexpr Command commands[] = {   // the help text has the same order
    { "list",  "[PREFIX]",                   0, 1,          true,  false, list_leaves,
      "Print leaves as PATH = VALUE, with values in TOML",
      "PREFIX matches whole path components: /VMIC does not match /VMICX." },
    { "get",   "PATH...",                    1, any_number, true,  false, get_leaves,
      "Print the values of leaves, one per line",
      "A missing leaf is reported on standard error, and with --json as null. The exit\n"
      "status is then 1." },
    { "set",   "PATH VALUE [PATH VALUE]...", 2, any_number, false, true,  set_leaves,
      "Set leaves, all of them in one write",
      "An existing leaf keeps its type. For a string leaf, VALUE is the text itself.\n"
      "A new leaf has the type that TOML gives VALUE (true, 5, \"5\"), and is a string when\n"
      "VALUE is not TOML. A new leaf is reported on standard error, with the nearest\n"
      "existing path if one is similar.\n"
      "VALUE may begin with a dash: even an option is a VALUE there. Only -- is not." },
    { "clear", "PATH...",                    1, any_number, false, false, clear_leaves,
      "Remove leaves, all of them in one write",
      "A missing leaf is reported on standard error, and the exit status is 1. The other\n"
      "leaves are removed." },
    { "watch", "[PREFIX]",                   0, 1,          true,  false, watch_leaves,
      "Print each leaf that changes as PATH: OLD -> NEW, until interrupted",
      "PREFIX matches whole path components: /VMIC does not match /VMICX." },
    { "dump",  "",                           0, 0,          false, false, dump_store,
      "Print the whole store as TOML", "" },
    { "load",  "FILE",                       1, 1,          false, false, load_store,
      "Replace the store by a dump",
      "FILE \"-\" is standard input. The whole dump is checked before the store is replaced.\n"
      "An empty FILE is rejected." },
    { "diff",  "FILE [FILE]",                1, 2,          true,  false, show_differences,
      "Print what differs as PATH: OLD -> NEW",
      "OLD is the value in the first FILE. NEW is the value in the second FILE, or in the\n"
      "store when there is no second FILE. FILE \"-\" is standard input. The exit status is 1\n"
      "when anything differs." },
    { "reset", "",                           0, 0,          false, false, reset_store,
      "Restore the factory defaults", "" },
    { "init",  "DIR",                        1, 1,          false, false, make_meter,
      "Create the folder of a new meter with the factory defaults",
      "A folder that already holds a store is rejected. When the folder holds a\n"
      "factory.toml, the command keeps it, and the store begins as a copy of it." },
};
// clang-format on

// Prints "cdsctl: ", `text` and a newline on standard error.
void complain(const std::string& text);

// Both functions print an error and return `store_failed`. The second function prints `file`,
// `what` and the text for `errno`.
Status fail(const std::string& error);
Status fail(const std::string& file, const char* what);

// Returns true when the request names a meter. Otherwise prints an error and returns false.
bool has_folder(const Request& request);

} // namespace cdsctl
