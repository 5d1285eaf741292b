// An examination of the meter: groups of checks, each check a function that names itself in the
// report and prints what it finds.
#pragma once

#include "doctor/command_line.h"
#include "doctor/elements.h"
#include "doctor/report.h"

// Exit statuses.
constexpr int status_ok = 0; // notes included
constexpr int status_something_wrong = 1;
constexpr int status_wrong_usage = 2;
constexpr int status_no_store = 3;
constexpr int status_interrupted = 128; // plus the signal's number, as shells have it

struct Doctor {
    Options options;
    bool connected = false;
    void (*restore)(const Doctor& doctor) = nullptr; // while something must be put back
    bool sees_leaves = false;                        // that exist: the library gives them status 1
    api_status_t missing_status = 0; // that the library gives for a leaf that no meter has
};

// True for a leaf that reads as one that no meter has.
bool is_missing(const Doctor& doctor, const Leaf& leaf);

// The groups.
void check_library(Doctor& doctor); // connects to the store
void check_leaves(const Doctor& doctor);
void check_writing(Doctor& doctor); // writes the scratch leaf and restores it
void check_console(const Doctor& doctor);
void check_system();

// Runs all groups, prints the report and returns the exit status.
int examine(const Options& options);
