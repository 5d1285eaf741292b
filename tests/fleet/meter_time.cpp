// Changes the speed of a simulated meter. Time-outs can be shorter than on a real meter, and
// commands can take as long as on a real meter. LD_PRELOAD loads this library into the utility.
//
//   METER_TIME_SCALE     Factor for the time-out of each `select`. The remaining time that `select`
//                        returns is divided by the factor, so the caller does not notice.
//   METER_TIME_COMMAND   Duration in seconds of each slow command and each pause. The time passes
//                        before the simulated meter writes the call to its trace.
//   METER_TIME_BUSY      Path of a file. The file exists while such a command or pause lasts.

#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/select.h>
#include <time.h>
#include <unistd.h>

namespace
{

using Select = int (*)(int, fd_set*, fd_set*, fd_set*, timeval*);
using Write = ssize_t (*)(int, const void*, size_t);

constexpr double micro = 1e6;
constexpr double nano = 1e9;

double number(const char* variable, double otherwise)
{
    const char* text = std::getenv(variable);
    const double value = text != nullptr ? std::strtod(text, nullptr) : otherwise;
    return value > 0 ? value : otherwise;
}

timeval scaled(const timeval& time, double by)
{
    const double seconds =
        (static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / micro) * by;
    timeval result{};
    result.tv_sec = static_cast<time_t>(seconds);
    result.tv_usec =
        static_cast<suseconds_t>((seconds - static_cast<double>(result.tv_sec)) * micro);
    return result;
}

bool begins(const char* text, size_t size, const char* with)
{
    return size >= std::strlen(with) && std::memcmp(text, with, std::strlen(with)) == 0;
}

bool takes_time(const char* line, size_t size)
{
    return begins(line, size, R"({"call":"system","command":"vmkeys)") ||
           begins(line, size, R"({"call":"system","command":"/etc/init.d/network)") ||
           begins(line, size, R"({"call":"sleep")");
}

void take_time(double seconds)
{
    const char* busy = std::getenv("METER_TIME_BUSY");
    if (busy != nullptr)
        close(open(busy, O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    timespec left{};
    left.tv_sec = static_cast<time_t>(seconds);
    left.tv_nsec = static_cast<long>((seconds - static_cast<double>(left.tv_sec)) * nano);
    while (nanosleep(&left, &left) != 0) {
    }
    if (busy != nullptr)
        unlink(busy);
}

} // namespace

extern "C" int select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional,
                      timeval* time_out)
{
    static const auto real_select = reinterpret_cast<Select>(dlsym(RTLD_NEXT, "select"));
    if (time_out == nullptr)
        return real_select(count, readable, writable, exceptional, nullptr);
    const double scale = number("METER_TIME_SCALE", 1);
    timeval shorter = scaled(*time_out, scale);
    const int result = real_select(count, readable, writable, exceptional, &shorter);
    *time_out = scaled(shorter, 1 / scale);
    return result;
}

extern "C" ssize_t write(int descriptor, const void* bytes, size_t size)
{
    static const auto real_write = reinterpret_cast<Write>(dlsym(RTLD_NEXT, "write"));
    const double seconds = number("METER_TIME_COMMAND", 0);
    if (seconds > 0 && takes_time(static_cast<const char*>(bytes), size))
        take_time(seconds);
    return real_write(descriptor, bytes, size);
}
