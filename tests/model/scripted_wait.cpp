// Replaces `select`. A test then decides how each wait for a key ends, and no wait takes time.
// A test preloads this library into the program with LD_PRELOAD. The keys come from standard input.
//
// The variable SCRIPTED_WAIT names a file with one character for each wait:
//   k  a key is available, or the input has ended: select returns 1
//   t  time-out: select returns 0
//   i  a signal interrupts the wait: select returns -1 with EINTR
// At the first wait after the last character, the process exits immediately with status 97 and does
// not flush its output. The output is then exactly the text that a technician sees at this wait.
//
// The variable SCRIPTED_WAIT_LOG names the log file. Each wait adds one line with four numbers: the
// seconds and the microseconds of the time-out, the number of keys read so far, and the number of
// bytes written so far. Therefore standard input and output must be files. The line is "unexpected"
// if the wait has no time-out, or is not for standard input alone.
//
// Deliberate: `select` stores a strange remaining time, because the log then shows whether the
// program uses a part of the remaining time in its next time-out.

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
