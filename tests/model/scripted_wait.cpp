// Stands in for `select`, so that a test decides how each wait for a key ends without
// waiting for it. Loaded with LD_PRELOAD; the keys themselves come from standard input.
//
// SCRIPTED_WAIT names a file of one character per wait:
//   k  a key is there, or the input has ended: select returns 1
//   t  nobody typed in time: it returns 0
//   i  a signal broke the wait: it returns -1 with EINTR
// After the last of them the process ends at once with status 97, nothing flushed: what a
// technician would be looking at is what has been written by then.
//
// SCRIPTED_WAIT_LOG names a file that gets one line per wait: the seconds and microseconds of
// its time-out, how many keys have been read and how many bytes shown so far (standard input
// and output being files); or "unexpected" when the wait is not for standard input alone. The
// time left that is handed back is never one that a caller could take for its next time-out.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/select.h>
#include <unistd.h>

namespace
{

constexpr int script_exhausted = 97;
constexpr int setup_failed = 98;
constexpr long seconds_left = 7;
constexpr long microseconds_left = 123456;

int open_named(const char* variable, int flags)
{
    const char* name = std::getenv(variable);
    const int descriptor = name != nullptr ? open(name, flags | O_CLOEXEC, 0644) : -1;
    if (descriptor < 0)
        _exit(setup_failed);
    return descriptor;
}

char next_event()
{
    static const int script = open_named("SCRIPTED_WAIT", O_RDONLY);
    static char events[4096];
    static ssize_t held = 0;
    static ssize_t taken = 0;
    if (taken == held) {
        held = read(script, events, sizeof events);
        taken = 0;
        if (held <= 0)
            _exit(script_exhausted);
    }
    return events[taken++];
}

void log_wait(bool for_standard_input, const timeval* time_out)
{
    static const int log = open_named("SCRIPTED_WAIT_LOG", O_WRONLY | O_CREAT | O_TRUNC | O_APPEND);
    char line[128];
    const int length =
        for_standard_input && time_out != nullptr
            ? std::snprintf(line, sizeof line, "%lld %lld %lld %lld\n",
                            static_cast<long long>(time_out->tv_sec),
                            static_cast<long long>(time_out->tv_usec),
                            static_cast<long long>(lseek(STDIN_FILENO, 0, SEEK_CUR)),
                            static_cast<long long>(lseek(STDOUT_FILENO, 0, SEEK_CUR)))
            : std::snprintf(line, sizeof line, "unexpected\n");
    if (write(log, line, static_cast<size_t>(length)) != length)
        _exit(setup_failed);
}

bool only_standard_input(int count, const fd_set* readable, const fd_set* writable,
                         const fd_set* exceptional)
{
    if (count < 1 || readable == nullptr || writable != nullptr || exceptional != nullptr)
        return false;
    for (int descriptor = 1; descriptor < count && descriptor < FD_SETSIZE; ++descriptor)
        if (FD_ISSET(descriptor, readable))
            return false;
    return FD_ISSET(0, readable);
}

} // namespace

extern "C" int select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional,
                      timeval* time_out)
{
    log_wait(only_standard_input(count, readable, writable, exceptional), time_out);
    const char event = next_event();
    if (time_out != nullptr) {
        time_out->tv_sec = seconds_left;
        time_out->tv_usec = microseconds_left;
    }
    if (event == 'k')
        return 1;
    if (readable != nullptr)
        FD_ZERO(readable);
    if (event == 't')
        return 0;
    errno = EINTR;
    return -1;
}
