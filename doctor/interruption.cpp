#include "doctor/interruption.h"

#include <csignal>
#include <initializer_list>

namespace
{

volatile std::sig_atomic_t caught = 0;

void note_signal(int number)
{
    caught = number;
}

} // namespace

void catch_signals()
{
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        struct sigaction action = {};
        sigaction(number, nullptr, &action);
        if (action.sa_handler == SIG_IGN)
            continue;
        action.sa_handler = note_signal;
        action.sa_flags = SA_RESTART; // restarts the system calls of the client library
        sigaction(number, &action, nullptr);
    }
}

int caught_signal()
{
    return caught;
}
