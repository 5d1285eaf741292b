// Catching signals, so that the program can restore the scratch leaf and the terminal before it
// ends.
#pragma once

// From now on, SIGINT, SIGTERM, SIGHUP and SIGPIPE do not end the program: only `caught_signal`
// reports them. Ignored signals stay ignored. SIGQUIT still ends the program. It is the way out
// when a call never returns.
void catch_signals();

// The number of the signal that came last, or 0.
int caught_signal();
