// The entry function: command line, start-up and shutdown.
#pragma once

// Runs the utility with the arguments of `main`. Returns the exit status: 0 after a session or
// after the version text; 1 after wrong usage or when the store cannot be reached. Does not catch
// exceptions. After an exception in a menu, echo, line editing and signal keys stay off, and the
// connection to the store is not closed.
int run(int argument_count, const char* const* arguments);
