// The calls from the program into the JavaScript that runs it: a page, or Node. host_calls.js
// forwards each call to the host object that was passed when the program was started.
#pragma once

extern "C" {

// Waits until standard input is readable, at most `milliseconds`; a negative number means no limit.
// Returns 1, 0 on time-out, or -1 when the wait failed.
int host_wait_for_key(double milliseconds);

// Returns how many milliseconds were left when the last wait for a key ended.
double host_time_left();

// Returns after `milliseconds`.
void host_pause(double milliseconds);

// Returns those of ECHO, ICANON and ISIG that are set in the terminal, or -1 when standard input is
// not a terminal.
int host_local_modes();

// Sets these three modes of the terminal, immediately.
void host_set_local_modes(int modes);
}
