// Running the meter's scripts and pausing, with the screen brought up to date before.
#pragma once

// Shows what was printed so far, then runs a shell command. Its exit status is ignored.
void run_command(const char* command);

// Shows what was printed so far, then pauses.
void pause_for(unsigned seconds);
