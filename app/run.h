// The entry routine: command line, start-up and shutdown.
#pragma once

// Runs the utility on the arguments of `main` and returns its exit status: 0 after a session or
// the version text, 1 after wrong usage or when the store cannot be reached.
// An exception that escapes the menus passes through: the terminal and the connection are then
// left as they are.
int run(int argument_count, const char* const* arguments);
