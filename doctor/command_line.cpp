#include "doctor/command_line.h"

#include "doctor/doctor.h"
#include "doctor/utility_leaves.h"

#include <cstdio>

#include <getopt.h>

namespace
{

constexpr char usage[] =
    "Usage: meter-settings-doctor [--json] [--keys] [--write-test PATH]\n"
    "Checks whether this meter behaves as meter-settings expects.\n"
    "\n"
    "  --json             print JSON for scripts\n"
    "  --keys             ask you to press Backspace, and show what the key sends\n"
    "  --write-test PATH  write to this scratch leaf, then restore it\n"
    "  --help             print this text\n"
    "\n"
    "Exit status: 0 nothing is wrong, 1 something is wrong, 2 wrong usage,\n"
    "3 the store cannot be reached, 128 + N interrupted by signal N\n";

constexpr option long_options[] = {
    {"json", no_argument, nullptr, 'j'},
    {"keys", no_argument, nullptr, 'k'},
    {"write-test", required_argument, nullptr, 'w'},
    {"help", no_argument, nullptr, 'h'},
    {nullptr, 0, nullptr, 0},
};

int reject(const char* reason)
{
    std::fprintf(stderr, "meter-settings-doctor: %sSee --help.\n", reason);
    return status_wrong_usage;
}

int show_help()
{
    std::fputs(usage, stdout);
    return std::fflush(stdout) == 0 ? status_ok : status_something_wrong;
}

// Returns the exit status when the write test must not use this path, otherwise std::nullopt.
// Rejects a path that does not begin with "/". Rejects every leaf that the utility uses, because
// the write test changes the leaf for a moment. A changed trigger would start a service of the
// meter.
std::optional<int> check_scratch_path(const char* path)
{
    if (path[0] != '/')
        return reject("the path of --write-test must begin with \"/\". ");
    if (is_leaf_of_utility(path))
        return reject("--write-test needs a scratch leaf, and meter-settings uses this one. ");
    return std::nullopt;
}

} // namespace

std::optional<int> read_command_line(int argument_count, char** arguments, Options& options)
{
    for (;;) {
        switch (getopt_long(argument_count, arguments, "", long_options, nullptr)) {
        case 'j': options.json = true; break;
        case 'k': options.keys = true; break;
        case 'w':
            if (const auto status = check_scratch_path(optarg))
                return status;
            options.scratch_path = optarg;
            break;
        case 'h': return show_help();
        case -1:
            return optind == argument_count ? std::nullopt
                                            : std::optional<int>(reject("too many arguments. "));
        default: return reject("");
        }
    }
}
