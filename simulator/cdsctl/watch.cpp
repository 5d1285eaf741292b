#include "simulator/cdsctl/changes.h"
#include "simulator/cdsctl/commands.h"
#include "simulator/cdsctl/json_text.h"
#include "simulator/files.h"
#include "simulator/meter_store.h"

#include <poll.h>
#include <sys/inotify.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <utility>

namespace cdsctl
{

namespace
{

using namespace simulator;

// A file that is made or written in place is looked at when its writer closes it: before that it
// would be taken for an empty store.
constexpr std::uint32_t file_events = IN_CLOSE_WRITE | IN_DELETE | IN_MOVE;
constexpr std::uint32_t end_events = IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT;

OpenFile catch_end_signals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return OpenFile(signalfd(-1, &signals, SFD_CLOEXEC));
}

OpenFile watch_folder(const std::string& folder)
{
    OpenFile events(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    if (events &&
        inotify_add_watch(events.fd, folder.c_str(), file_events | end_events | IN_ONLYDIR) < 0)
        return {};
    return events;
}

// Takes all events that have come, and says what they tell as bits of their masks: of the events
// of files, those of the store alone.
std::uint32_t take_events(const OpenFile& events)
{
    std::uint32_t told = 0;
    alignas(inotify_event) char buffer[4096];
    for (ssize_t size; (size = read(events.fd, buffer, sizeof buffer)) > 0;) {
        for (const char* at = buffer; at < buffer + size;) {
            inotify_event event;
            std::memcpy(&event, at, sizeof event);
            const char* name = at + sizeof event;
            if (event.len == 0 || std::strcmp(name, store_file) == 0)
                told |= event.mask;
            at = name + event.len;
        }
    }
    return told;
}

struct Watch {
    const Request& request;
    MeterStore store;
    Leaves shown;
    std::string error; // as it was last told
};

Leaves chosen_leaves(const Watch& watch)
{
    const auto& operands = watch.request.operands;
    return operands.empty() ? watch.store.leaves : leaves_below(watch.store.leaves, operands[0]);
}

void show_changes(Watch& watch)
{
    std::string error;
    if (refresh_leaves(watch.store, error)) {
        Leaves leaves = chosen_leaves(watch);
        for (const Change& change : changes_between(watch.shown, leaves))
            std::puts((watch.request.json ? json_change(change) : change_line(change)).c_str());
        watch.shown = std::move(leaves);
    } else if (error != watch.error) {
        complain(error);
    }
    watch.error = error;
}

} // namespace

Status watch_leaves(const Request& request)
{
    const std::string& folder = request.folder;
    if (!has_folder(request))
        return store_failed;
    Watch watch{request, {}, {}, {}};
    watch.store.folder = folder;
    std::setvbuf(stdout, nullptr, _IOLBF, 0);

    const OpenFile signals = catch_end_signals();
    const OpenFile events = watch_folder(folder);
    if (!signals || !events)
        return fail(folder, "cannot be watched");
    if (!refresh_leaves(watch.store, watch.error))
        return fail(watch.error);
    watch.shown = chosen_leaves(watch);
    complain("watching " + folder);

    for (;;) {
        // An output that nobody reads any more is an event by itself.
        pollfd waits[] = {{signals.fd, POLLIN, 0}, {events.fd, POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
        if (poll(waits, std::size(waits), -1) < 0)
            return fail(folder, "cannot be watched");
        if (waits[0].revents != 0 || waits[2].revents != 0)
            return done;
        const std::uint32_t told = take_events(events);
        if ((told & end_events) != 0)
            return fail(folder + ": the folder is gone");
        if (told != 0)
            show_changes(watch);
        if (std::ferror(stdout) != 0)
            return done; // main says so
    }
}

} // namespace cdsctl
