// Lets the system report something else about files, as a test decides.
#pragma once

#include <sys/stat.h>

// While it lives, `change` is applied to the status of every file that is asked about. One at a
// time.
struct ChangedStatus {
    explicit ChangedStatus(void (*change)(struct stat64& status));
    ChangedStatus(const ChangedStatus&) = delete;
    ChangedStatus& operator=(const ChangedStatus&) = delete;
    ~ChangedStatus();
};
