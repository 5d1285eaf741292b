#include "simulator/cdsctl/changes.h"
#include "simulator/cdsctl/commands.h"
#include "simulator/cdsctl/json_text.h"
#include "simulator/files.h"
#include "simulator/meter_store.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

namespace cdsctl
{

namespace
{

using namespace simulator;

// A file that is created or written in place is read only after its writer has closed it. Before
// that, the file might look like an empty store. IN_CREATE is needed for symbolic links, because
// creating a link causes no IN_CLOSE_WRITE event.
constexpr std::uint32_t file_events = IN_CLOSE_WRITE | IN_DELETE | IN_MOVE;
constexpr std::uint32_t end_events = IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT;
constexpr std::uint32_t watched_events =
    file_events | end_events | IN_CREATE | IN_ONLYDIR | IN_MASK_ADD;

// The store file, or a symbolic link that leads to the store file.
struct Place {
    int number; // the inotify watch on `folder`; several places may share a watch
    std::string folder;
    std::string name;
};

struct Watch {
    const Request& request;
    OpenFile signals; // receives SIGINT and SIGTERM, which end the watch
    OpenFile events;
    struct stat folder = {}; // the status of the meter's directory at the start
    // gcc warns of missing initialisers. NOLINTBEGIN(readability-redundant-member-init)
    std::vector<std::string> files = {}; // the watched links, and the store file
    std::vector<Place> places = {};      // one place per file
    MeterStore store = {};
    Leaves shown = {};
    std::string error = {}; // the error that was printed last
    // NOLINTEND(readability-redundant-member-init)
};

OpenFile catch_end_signals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN); // a closed output ends the watch without an error
    return OpenFile(signalfd(-1, &signals, SFD_CLOEXEC));
}

// Watches the directory of each file. On failure, the last place in `places` is the place that
// cannot be watched.
bool watch_files(Watch& watch, const std::vector<std::string>& files)
{
    watch.places.clear();
    for (const std::string& file : files) {
        const std::string folder = parent_of(file);
        const int number = inotify_add_watch(watch.events.fd, folder.c_str(), watched_events);
        watch.places.push_back({number, folder, name_of(file)});
        if (number < 0)
            return false;
    }
    watch.files = files;
    return true;
}

// Watches every directory on the chain of links to the store. A link may change before its
// directory is watched, so the function follows the chain again until the chain is unchanged. When
// the links form a circle, the function watches only the links that it followed.
bool watch_chain(Watch& watch)
{
    for (;;) {
        std::vector<std::string> files;
        follow_links(AT_FDCWD, watch.request.folder + "/" + store_file, files);
        if (files == watch.files)
            return true;
        if (!watch_files(watch, files))
            return false;
    }
}

// Watches the parent of the meter's directory. When the meter's directory is removed while a
// process works in it, only the parent reports the removal.
void watch_above(const Watch& watch)
{
    const std::string above = watch.request.folder + "/..";
    // A parent directory that this user may not read is not watched. The removal of the meter's
    // directory is then reported later, when no process works in that directory any more.
    inotify_add_watch(watch.events.fd, above.c_str(), IN_DELETE | IN_MASK_ADD);
}

bool begin_watch(Watch& watch)
{
    if (!watch.signals || !watch.events || stat(watch.request.folder.c_str(), &watch.folder) != 0 ||
        !watch_chain(watch))
        return false;
    watch_above(watch);
    return true;
}

// Returns true when the meter's directory exists and is still the directory from the start. The
// path "." finds a removed directory while it is the working directory, but the link count is 0.
bool folder_is_there(const Watch& watch)
{
    struct stat now;
    return stat(watch.request.folder.c_str(), &now) == 0 && now.st_nlink != 0 &&
           now.st_dev == watch.folder.st_dev && now.st_ino == watch.folder.st_ino;
}

// A summary of the events that were read.
struct News {
    std::uint32_t events = 0; // the combined masks of the events
    std::string gone_folder;  // the path of a removed directory, or empty
};

void take_event(const Watch& watch, const inotify_event& event, const char* name, News& news)
{
    if ((event.mask & IN_Q_OVERFLOW) != 0) // the kernel dropped events
        news.events |= file_events;
    for (const Place& place : watch.places) {
        if (place.number != event.wd)
            continue;
        if ((event.mask & end_events) != 0)
            news.gone_folder = place.folder;
        else if (event.len != 0 && place.name == name)
            news.events |= event.mask;
    }
}

// Reads all pending events.
News take_events(const Watch& watch)
{
    News news;
    alignas(inotify_event) char buffer[4096];
    for (ssize_t size; (size = read(watch.events.fd, buffer, sizeof buffer)) > 0;) {
        for (const char* at = buffer; at < buffer + size;) {
            inotify_event event;
            std::memcpy(&event, at, sizeof event);
            take_event(watch, event, at + sizeof event, news);
            at += sizeof event + event.len;
        }
    }
    if (!folder_is_there(watch))
        news.gone_folder = watch.request.folder;
    return news;
}

Leaves chosen_leaves(const Watch& watch)
{
    const auto& operands = watch.request.operands;
    return operands.empty() ? watch.store.leaves : leaves_below(watch.store.leaves, operands[0]);
}

// Prints the changes since the previous call. Returns false, with `errno` set, when the output
// cannot be written.
bool show_changes(Watch& watch)
{
    std::string error;
    std::string lines;
    if (refresh_leaves(watch.store, error)) {
        Leaves leaves = chosen_leaves(watch);
        for (const Change& change : changes_between(watch.shown, leaves))
            lines += (watch.request.json ? json_change(change) : change_line(change)) + "\n";
        watch.shown = std::move(leaves);
    } else if (error != watch.error) {
        complain(error);
    }
    watch.error = error;
    return write_all(STDOUT_FILENO, lines);
}

Status fail_output()
{
    return errno == EPIPE ? done : fail(std::string("standard output: ") + std::strerror(errno));
}

// Handles the pending events. When the watch must end, sets `status` to the exit status and returns
// false.
bool take_news(Watch& watch, Status& status)
{
    const News news = take_events(watch);
    const std::vector<std::string> files = watch.files;
    if (!news.gone_folder.empty())
        status = fail(news.gone_folder + ": the folder is gone");
    else if (news.events != 0 && !watch_chain(watch))
        status = fail(watch.places.back().folder, "cannot be watched");
    else if (((news.events & file_events) != 0 || files != watch.files) && !show_changes(watch))
        status = fail_output();
    else
        return true;
    return false;
}

// Starts the watch and reads the leaves. On failure, prints an error and returns false.
bool make_ready(Watch& watch)
{
    const std::string& folder = watch.request.folder;
    if (!begin_watch(watch)) {
        fail(watch.places.empty() ? folder : watch.places.back().folder, "cannot be watched");
    } else if (!refresh_leaves(watch.store, watch.error)) {
        fail(watch.error);
    } else {
        watch.shown = chosen_leaves(watch);
        complain("watching " + folder);
        return true;
    }
    return false;
}

Status watch_until_end(Watch& watch)
{
    for (Status status = done;;) {
        // `poll` reports a closed output even when no events are requested for the output.
        pollfd waits[] = {
            {watch.signals.fd, POLLIN, 0}, {watch.events.fd, POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
        if (poll(waits, std::size(waits), -1) < 0)
            return fail(watch.request.folder, "cannot be watched");
        if (waits[0].revents != 0 || waits[2].revents != 0)
            return done;
        if (!take_news(watch, status))
            return status;
    }
}

} // namespace

Status watch_leaves(const Request& request)
{
    if (!has_folder(request))
        return store_failed;
    if (fcntl(STDOUT_FILENO, F_GETFD) < 0)
        return fail_output();
    Watch watch{request, catch_end_signals(), OpenFile(inotify_init1(IN_CLOEXEC | IN_NONBLOCK))};
    watch.store.folder = request.folder;
    return make_ready(watch) ? watch_until_end(watch) : store_failed;
}

} // namespace cdsctl
