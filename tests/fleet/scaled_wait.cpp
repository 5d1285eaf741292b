// A `select` whose time-out is multiplied by SCALED_WAIT, so that a test need not wait out the real
// idle time. Loaded with LD_PRELOAD. The time that is left is scaled back, so the caller sees a
// clock of its own.

#include <cstdlib>
#include <dlfcn.h>
#include <sys/select.h>

namespace
{

using Select = int (*)(int, fd_set*, fd_set*, fd_set*, timeval*);

double factor()
{
    const char* text = std::getenv("SCALED_WAIT");
    const double value = text != nullptr ? std::strtod(text, nullptr) : 1;
    return value > 0 ? value : 1;
}

timeval scaled(const timeval& time, double by)
{
    constexpr double micro = 1e6;
    const double seconds =
        (static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / micro) * by;
    timeval result{};
    result.tv_sec = static_cast<time_t>(seconds);
    result.tv_usec =
        static_cast<suseconds_t>((seconds - static_cast<double>(result.tv_sec)) * micro);
    return result;
}

} // namespace

extern "C" int select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional,
                      timeval* time_out)
{
    static const auto real_select = reinterpret_cast<Select>(dlsym(RTLD_NEXT, "select"));
    if (time_out == nullptr)
        return real_select(count, readable, writable, exceptional, nullptr);
    timeval shorter = scaled(*time_out, factor());
    const int result = real_select(count, readable, writable, exceptional, &shorter);
    *time_out = scaled(shorter, 1 / factor());
    return result;
}
