// What the program asks of the JavaScript around it: a page, or node. host_calls.js passes each on
// to the host object that the program was started with.
#pragma once

extern "C" {

// Waits until standard input can be read or `milliseconds` are over; negative: no limit. Returns as
// `select` does: 1, 0 on time-out, -1 when the wait failed.
int host_wait_for_key(double milliseconds);

// The milliseconds that were left when the last wait for a key ended.
double host_time_left();

// Returns after `milliseconds`.
void host_pause(double milliseconds);

// ECHO, ICANON and ISIG as the terminal has them; -1: standard input is no terminal.
int host_local_modes();

// Changes these three of the terminal's modes, immediately.
void host_set_local_modes(int modes);
}
