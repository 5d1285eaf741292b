// Makes one call of a system function fail.
#pragma once

// During its lifetime, call number `which` of `function` (read, write, fsync, fchown, flock, poll
// or unlinkat) fails with `error`. All other calls are carried out. Only one may exist at a time.
struct FailingCall {
    FailingCall(const char* function, int error, int which = 1);
    FailingCall(const FailingCall&) = delete;
    FailingCall& operator=(const FailingCall&) = delete;
    ~FailingCall();

    bool has_failed() const;
};

// Returns how often the program has closed a descriptor that was not open. That is an error,
// because the descriptor may by then belong to another file.
int count_of_wrong_closes();
