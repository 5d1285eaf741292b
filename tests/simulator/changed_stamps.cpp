#include "tests/simulator/changed_stamps.h"

#include <dlfcn.h>
#include <sys/stat.h>

namespace
{

void (*change_time)(timespec& time) = nullptr;

int with_changed_times(int result, struct stat64& status)
{
    if (result == 0 && change_time != nullptr) {
        change_time(status.st_mtim);
        change_time(status.st_ctim);
    }
    return result;
}

} // namespace

ChangedStamps::ChangedStamps(void (*change)(timespec& time))
{
    change_time = change;
}

ChangedStamps::~ChangedStamps()
{
    change_time = nullptr;
}

// Standing in the program itself, these are found before those of the C library.

extern "C" int fstat64(int fd, struct stat64* status) noexcept
{
    static const auto library_call =
        reinterpret_cast<decltype(&fstat64)>(dlsym(RTLD_NEXT, "fstat64"));
    return with_changed_times(library_call(fd, status), *status);
}

extern "C" int fstatat64(int folder, const char* name, struct stat64* status, int flags) noexcept
{
    static const auto library_call =
        reinterpret_cast<decltype(&fstatat64)>(dlsym(RTLD_NEXT, "fstatat64"));
    return with_changed_times(library_call(folder, name, status, flags), *status);
}
