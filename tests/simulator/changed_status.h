// Changes the file status that the system reports.
#pragma once

#include <sys/stat.h>

// During its lifetime, `change` is applied to the result of every call that reads a file's status.
// Only one may exist at a time.
struct ChangedStatus {
    explicit ChangedStatus(void (*change)(struct stat64& status));
    ChangedStatus(const ChangedStatus&) = delete;
    ChangedStatus& operator=(const ChangedStatus&) = delete;
    ~ChangedStatus();
};
