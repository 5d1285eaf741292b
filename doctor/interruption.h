// Signals that would end the program while something must still be put back.
#pragma once

// From now on, SIGINT, SIGTERM, SIGHUP and SIGPIPE only note themselves, unless they are ignored.
// SIGQUIT still ends the program: a way out when a call never returns.
void catch_signals();

// The number of the signal that came last, or 0.
int caught_signal();
