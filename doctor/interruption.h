// Functions that catch signals, so that the program can restore the scratch leaf and the terminal
// before it ends.
#pragma once

// After this call, SIGINT, SIGTERM, SIGHUP and SIGPIPE no longer end the program. `caught_signal`
// reports these signals instead. A signal that was ignored before stays ignored. SIGQUIT still ends
// the program, so a user can stop the program when a call never returns.
void catch_signals();

// Returns the number of the last caught signal, or 0 if no signal was caught.
int caught_signal();
