// Changes the file status that the system reports to the program.
#pragma once

#include <sys/stat.h>

// While this object exists, `change` is applied to the result of every call that reads a file's
// status. Only one such object may exist at a time.
struct ChangedStatus {
    explicit ChangedStatus(void (*change)(struct stat64& status));
    ChangedStatus(const ChangedStatus&) = delete;
    ChangedStatus& operator=(const ChangedStatus&) = delete;
    ~ChangedStatus();
};
