// Lets one call of a system function fail, as a test decides.
#pragma once

// While it lives, the call number `which` of `function` (read, write, fsync, fchown, flock, poll or
// unlinkat) fails with `error`; all others take their course. One at a time.
struct FailingCall {
    FailingCall(const char* function, int error, int which = 1);
    FailingCall(const FailingCall&) = delete;
    FailingCall& operator=(const FailingCall&) = delete;
    ~FailingCall();

    bool has_failed() const;
};

// How often the program has closed a descriptor that was not open: it may by then be another
// file's.
int count_of_wrong_closes();
