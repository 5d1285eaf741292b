// The checks of the meter, in groups. Each check is a function that prints its name and its
// findings in the report.
#pragma once

#include "doctor/command_line.h"
#include "doctor/elements.h"
#include "doctor/report.h"

// Exit statuses.
constexpr int status_ok = 0; // notes do not change it
constexpr int status_something_wrong = 1;
constexpr int status_wrong_usage = 2;
constexpr int status_no_store = 3;
constexpr int status_interrupted = 128; // plus the signal's number, as in shells

struct Doctor {
    Options options;
    bool connected = false;
    // Restores the scratch leaf. Null when there is nothing to restore.
    void (*restore)(const Doctor& doctor) = nullptr;
    bool sees_leaves = false;        // the library gives existing leaves status 1
    api_status_t missing_status = 0; // the status that the library gives a missing leaf
};

// Returns true when the leaf has the status of a missing leaf.
bool is_missing(const Doctor& doctor, const Leaf& leaf);

// The groups.
void check_library(Doctor& doctor); // connects to the store
void check_leaves(const Doctor& doctor);
void check_writing(Doctor& doctor); // writes the scratch leaf and restores it
void check_console(const Doctor& doctor);
void check_system();

// Runs all groups, prints the report and returns the exit status.
int examine(const Options& options);
