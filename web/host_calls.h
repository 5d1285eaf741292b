// The program calls these functions of its host. The host is the JavaScript of a page or of node.
// host_calls.js forwards each call to the host object in the options of createProgram.
#pragma once

extern "C" {

// Waits for at most `milliseconds` until standard input is readable. A negative number means no
// limit. Returns 1 when input is readable, 0 on time-out, and -1 when the wait failed.
int host_wait_for_key(double milliseconds);

// Returns how many milliseconds were left when the last wait for a key ended.
double host_time_left();

// Pauses the program for `milliseconds`.
void host_pause(double milliseconds);

// Returns the bits ECHO, ICANON and ISIG of the terminal's local modes, or -1 when standard input
// is not a terminal.
int host_local_modes();

// Immediately sets ECHO, ICANON and ISIG in the terminal to the bits in `modes`.
void host_set_local_modes(int modes);
}
