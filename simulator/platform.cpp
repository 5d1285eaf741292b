// `system` and `sleep` for a program on the simulated meter. Both functions are linked into the
// program, so the program calls them instead of the functions of the C library.

#include "simulator/files.h"
#include "simulator/meter.h"
#include "simulator/meter_store.h"
#include "simulator/trace.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace
{

using namespace simulator;

// Exit statuses, encoded as `wait` returns them.
constexpr int command_succeeded = 0;
constexpr int command_failed = 1 << 8;
constexpr int command_not_found = 127 << 8;

bool restore_factory_leaves()
{
    std::string error; // not printed, because the command's output goes to /dev/null
    return !meter_folder().empty() && restore_factory(meter_folder(), error);
}

// Opens the directory `name`. Fails for a symbolic link, which could lead out of the meter's
// directory.
OpenFile open_inner_folder(int folder, const char* name)
{
    return open_file(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
}

bool remove_downloads()
{
    constexpr std::string_view beginning = "vmconfig.";
    if (meter_folder().empty())
        return false;
    const OpenFile meter = open_file(AT_FDCWD, meter_folder().c_str(), O_RDONLY | O_DIRECTORY);
    const OpenFile jffs = meter ? open_inner_folder(meter.fd, "jffs") : OpenFile();
    const OpenFile downloads = jffs ? open_inner_folder(jffs.fd, "downloads") : OpenFile();
    if (!downloads)
        return errno == ENOENT; // nothing to remove

    std::vector<std::string> names;
    bool removed = list_folder(downloads.fd, names);
    for (const std::string& name : names) {
        if (name.compare(0, beginning.size(), beginning) == 0)
            removed = remove_entry(downloads.fd, name.c_str()) && removed;
    }
    return removed;
}

bool do_nothing()
{
    return true;
}

struct Command {
    std::string_view text;
    bool (*run)();
};

// clang-format off
constexpr Command commands[] = {   // complete command lines for the meter's shell
    { "fw_reset.sh > /dev/null 2>&1",                restore_factory_leaves },
    { "sernetpwreset.sh > /dev/null 2>&1",           do_nothing             },
    { "vmkeys -m >/dev/null 2>&1",                   do_nothing             },
    { "rm -rf /jffs/downloads/vmconfig.*",           remove_downloads       },
    { "/etc/init.d/network restart > /dev/null 2>&1", do_nothing            },
};
// clang-format on

int run_command(std::string_view text)
{
    for (const Command& command : commands) {
        if (command.text == text)
            return command.run() ? command_succeeded : command_failed;
    }
    return command_not_found;
}

bool is_delayed()
{
    const char* no_delay = std::getenv("METER_SIM_NO_DELAY");
    return no_delay == nullptr || *no_delay == '\0';
}

// Returns 0 after the whole pause. When a signal interrupts the pause, returns the remaining
// seconds.
unsigned pause_for(unsigned seconds)
{
    constexpr auto longest = std::numeric_limits<std::time_t>::max();
    timespec left = {};
    left.tv_sec = static_cast<std::time_t>(
        std::min<unsigned long long>(seconds, static_cast<unsigned long long>(longest)));
    if (nanosleep(&left, &left) == 0)
        return 0;
    return static_cast<unsigned>(left.tv_sec) + (left.tv_nsec != 0 ? 1 : 0);
}

} // namespace

extern "C" int system(const char* command)
{
    // A null command asks whether a shell is available. The simulated meter has no shell.
    const int result = command == nullptr ? 0 : run_command(command);
    trace_system(command, result);
    return result;
}

extern "C" unsigned int sleep(unsigned int seconds)
{
    trace_sleep(seconds);
    return is_delayed() ? pause_for(seconds) : 0;
}
