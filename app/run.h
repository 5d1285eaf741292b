// The entry function: command line, start-up and shutdown.
#pragma once

// Runs the utility with the arguments of `main`. Returns the exit status: 0 after a session or
// after the version text; 1 after wrong usage, or when the store cannot be reached. Does not catch
// exceptions: one thrown by a menu leaves the terminal modes and the connection as they were during
// the session.
int run(int argument_count, const char* const* arguments);
