#include "simulator/trace.h"

#include "simulator/files.h"
#include "simulator/meter.h"

#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <utility>

namespace simulator
{

namespace
{

using Json = nlohmann::ordered_json; // keeps the keys in the order of insertion

bool trouble_printed = false;

const char* trace_name()
{
    const char* name = std::getenv("METER_SIM_TRACE");
    return name == nullptr ? "" : name;
}

// Works like `write`, but suppresses SIGPIPE and SIGXFSZ. When a pipe has no reader or the file
// reaches the size limit, the write fails and the program continues.
ssize_t write_without_signals(int fd, const std::string& text)
{
    sigset_t signals;
    sigset_t before;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    sigaddset(&signals, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &signals, &before);

    errno = ENOSPC; // the reported reason when only a part is written
    const ssize_t written = write(fd, text.data(), text.size());
    const int reason = errno;
    const timespec no_time = {};
    if (written < 0)
        sigtimedwait(&signals, nullptr, &no_time); // takes the signal, if there is one
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    errno = reason;
    return written;
}

// Appends the line with a single write, so that the lines of several processes do not mix.
// Uses O_NONBLOCK to open a pipe, because the call would otherwise wait for a reader. Then removes
// O_NONBLOCK, so that the write waits for a slow reader and no line is lost.
bool append_line(const char* name, const std::string& line)
{
    constexpr int flags = O_WRONLY | O_APPEND | O_CREAT | O_NOCTTY;
    const OpenFile file = open_file(AT_FDCWD, name, flags | O_NONBLOCK, 0666);
    return file && fcntl(file.fd, F_SETFL, O_APPEND) == 0 &&
           write_without_signals(file.fd, line) == static_cast<ssize_t>(line.size());
}

void append(const Json& call)
{
    const char* name = trace_name();
    const std::string line = call.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
    if (append_line(name, line) || std::exchange(trouble_printed, true))
        return;
    print_trouble(std::string(name) + ": the trace cannot be written: " + std::strerror(errno));
}

Json json_value(const LeafValue& value)
{
    return std::visit([](const auto& held) { return Json(held); }, value);
}

} // namespace

bool is_traced()
{
    return *trace_name() != '\0';
}

void trace_pcd_init(bool connected)
{
    if (is_traced())
        append({{"call", "pcd_init"}, {"connected", connected}});
}

void trace_pcd_close()
{
    if (is_traced())
        append({{"call", "pcd_close"}});
}

void trace_get_leaves(const std::vector<std::string>& paths, const std::vector<int>& statuses,
                      int result)
{
    if (is_traced())
        append(
            {{"call", "get_leaves"}, {"paths", paths}, {"statuses", statuses}, {"result", result}});
}

void trace_set_leaf(const TracedLeaf& leaf, const std::string& source, int result)
{
    if (is_traced())
        append({{"call", "set_leaf"},
                {"path", leaf.path},
                {"value", json_value(leaf.value)},
                {"flag", leaf.flag},
                {"source", source},
                {"status", leaf.status},
                {"result", result}});
}

void trace_set_leaves(const std::vector<TracedLeaf>& leaves, const std::string& source, int result)
{
    if (!is_traced())
        return;
    Json listed = Json::array();
    for (const TracedLeaf& leaf : leaves)
        listed.push_back({{"path", leaf.path},
                          {"value", json_value(leaf.value)},
                          {"flag", leaf.flag},
                          {"status", leaf.status}});
    append({{"call", "set_leaves"},
            {"leaves", std::move(listed)},
            {"source", source},
            {"result", result}});
}

void trace_clear_leaves(const std::vector<std::string>& paths, const std::vector<int>& statuses,
                        const std::string& source, int result)
{
    if (is_traced())
        append({{"call", "clear_leaves"},
                {"paths", paths},
                {"statuses", statuses},
                {"source", source},
                {"result", result}});
}

void trace_system(const char* command, int result)
{
    if (is_traced())
        append({{"call", "system"},
                {"command", command == nullptr ? Json() : Json(command)},
                {"result", result}});
}

void trace_sleep(unsigned seconds)
{
    if (is_traced())
        append({{"call", "sleep"}, {"seconds", seconds}});
}

void forget_trace()
{
    trouble_printed = false;
}

} // namespace simulator
