#include "tests/simulator/changed_status.h"

#include <dlfcn.h>

namespace
{

void (*change_status)(struct stat64& status) = nullptr;

int changed(int result, struct stat64& status)
{
    if (result == 0 && change_status != nullptr)
        change_status(status);
    return result;
}

} // namespace

ChangedStatus::ChangedStatus(void (*change)(struct stat64& status))
{
    change_status = change;
}

ChangedStatus::~ChangedStatus()
{
    change_status = nullptr;
}

// These functions are linked into the program, so they replace the functions of the C library.

extern "C" int fstat64(int fd, struct stat64* status) noexcept
{
    static const auto library_call =
        reinterpret_cast<decltype(&fstat64)>(dlsym(RTLD_NEXT, "fstat64"));
    return changed(library_call(fd, status), *status);
}

extern "C" int fstatat64(int folder, const char* name, struct stat64* status, int flags) noexcept
{
    static const auto library_call =
        reinterpret_cast<decltype(&fstatat64)>(dlsym(RTLD_NEXT, "fstatat64"));
    return changed(library_call(folder, name, status, flags), *status);
}
