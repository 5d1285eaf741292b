// Defines the system calls that the console needs and WebAssembly does not provide. The linker
// prefers these definitions to the definitions in the C library.

#include "web/host_calls.h"

#include <cerrno>
#include <ctime>

#include <sys/select.h>
#include <sys/time.h>
#include <termios.h>
#include <unistd.h>

namespace
{

constexpr tcflag_t kept_modes = ECHO | ICANON | ISIG;

bool only_standard_input(int count, const fd_set* readable)
{
    return count == STDIN_FILENO + 1 && readable != nullptr && FD_ISSET(STDIN_FILENO, readable);
}

timeval time_of(double milliseconds)
{
    timeval time = {};
    time.tv_sec = static_cast<time_t>(milliseconds / 1000);
    time.tv_usec =
        static_cast<suseconds_t>((milliseconds - 1000.0 * static_cast<double>(time.tv_sec)) * 1000);
    return time;
}

double milliseconds_of(const timeval& time)
{
    return static_cast<double>(time.tv_sec) * 1000 + static_cast<double>(time.tv_usec) / 1000;
}

} // namespace

// Supports standard input only. Sets `limit` to the time left, as Linux does.
extern "C" int select(int count, fd_set* readable, fd_set*, fd_set*, timeval* limit)
{
    if (!only_standard_input(count, readable)) {
        errno = EBADF;
        return -1;
    }
    const int ready = host_wait_for_key(limit == nullptr ? -1 : milliseconds_of(*limit));
    if (limit != nullptr)
        *limit = time_of(host_time_left());
    if (ready < 1)
        FD_ZERO(readable);
    if (ready < 0)
        errno = EINTR;
    return ready;
}

// WebAssembly has no signals, so the pause never ends early.
extern "C" int nanosleep(const timespec* duration, timespec* left)
{
    host_pause(static_cast<double>(duration->tv_sec) * 1000 +
               static_cast<double>(duration->tv_nsec) / 1e6);
    if (left != nullptr)
        *left = {};
    return 0;
}

extern "C" int tcgetattr(int, termios* attributes)
{
    const int modes = host_local_modes();
    if (modes < 0) {
        errno = ENOTTY;
        return -1;
    }
    *attributes = {};
    attributes->c_lflag = static_cast<tcflag_t>(modes);
    return 0;
}

extern "C" int tcsetattr(int, int, const termios* attributes)
{
    host_set_local_modes(static_cast<int>(attributes->c_lflag & kept_modes));
    return 0;
}
