// Makes one call of a system function fail.
#pragma once

// While this object exists, call number `which` of `function` (read, write, fsync, fchown, flock,
// poll or unlinkat) fails with `error`. All other calls are carried out. Only one such object may
// exist at a time.
struct FailingCall {
    FailingCall(const char* function, int error, int which = 1);
    FailingCall(const FailingCall&) = delete;
    FailingCall& operator=(const FailingCall&) = delete;
    ~FailingCall();

    bool has_failed() const;
};

// Returns how often the program has closed a descriptor that was not open. Such a call is an error,
// because the descriptor may already belong to another file.
int count_of_wrong_closes();
