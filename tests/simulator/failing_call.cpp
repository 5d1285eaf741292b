#undef _FORTIFY_SOURCE // with it, some functions below would be inline

#include "tests/simulator/failing_call.h"

#include <poll.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string_view>

namespace
{

std::string_view failing_function; // empty: no call fails
int failing_error = 0;
int calls_before = 0; // calls left before the failing call; negative: the call has failed
int wrong_closes = 0;

bool fails(std::string_view function)
{
    if (function != failing_function || calls_before-- != 0)
        return false;
    if (failing_error != 0)
        errno = failing_error;
    return true;
}

} // namespace

FailingCall::FailingCall(const char* function, int error, int which)
{
    failing_error = error;
    calls_before = which - 1;
    failing_function = function;
}

FailingCall::~FailingCall()
{
    failing_function = {};
}

bool FailingCall::has_failed() const
{
    return calls_before < 0;
}

int count_of_wrong_closes()
{
    return wrong_closes;
}

// These functions are linked into the program, so they replace the functions of the C library.

extern "C" ssize_t read(int fd, void* buffer, size_t size)
{
    return fails("read") ? -1 : syscall(SYS_read, fd, buffer, size);
}

extern "C" ssize_t write(int fd, const void* buffer, size_t size)
{
    if (!fails("write"))
        return syscall(SYS_write, fd, buffer, size);
    if (failing_error == EPIPE || failing_error == EFBIG)
        raise(failing_error == EPIPE ? SIGPIPE : SIGXFSZ); // the kernel raises the same signals
    return failing_error == 0 ? 0 : -1;
}

extern "C" int fsync(int fd)
{
    return fails("fsync") ? -1 : static_cast<int>(syscall(SYS_fsync, fd));
}

extern "C" int close(int fd)
{
    const int result = static_cast<int>(syscall(SYS_close, fd));
    wrong_closes += result == 0 ? 0 : 1;
    return result;
}

extern "C" int fchown(int fd, uid_t owner, gid_t group) noexcept
{
    return fails("fchown") ? -1 : static_cast<int>(syscall(SYS_fchown, fd, owner, group));
}

extern "C" int flock(int fd, int operation) noexcept
{
    return fails("flock") ? -1 : static_cast<int>(syscall(SYS_flock, fd, operation));
}

extern "C" int poll(pollfd* waits, nfds_t count, int timeout)
{
    return fails("poll") ? -1 : static_cast<int>(syscall(SYS_poll, waits, count, timeout));
}

extern "C" int unlinkat(int folder, const char* name, int flags) noexcept
{
    return fails("unlinkat") ? -1 : static_cast<int>(syscall(SYS_unlinkat, folder, name, flags));
}
