// Lets the system report other times of files, as a test decides.
#pragma once

#include <ctime>

// While it lives, `change` is applied to the modification and the change time of every file that
// is asked about. One at a time.
struct ChangedStamps {
    explicit ChangedStamps(void (*change)(timespec& time));
    ChangedStamps(const ChangedStamps&) = delete;
    ChangedStamps& operator=(const ChangedStamps&) = delete;
    ~ChangedStamps();
};
