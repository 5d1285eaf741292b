// The checks of the meter, in groups. Each check is a function that adds findings to the report.
#pragma once

#include "doctor/command_line.h"
#include "doctor/elements.h"
#include "doctor/report.h"

// Exit statuses.
constexpr int status_ok = 0; // also when the report has notes
constexpr int status_something_wrong = 1;
constexpr int status_wrong_usage = 2;
constexpr int status_no_store = 3;
constexpr int status_interrupted = 128; // the exit status is this plus the number of the signal

struct Doctor {
    Options options;
    bool connected = false;
    // Restores the scratch leaf. Null when there is nothing to restore.
    void (*restore)(const Doctor& doctor) = nullptr;
    bool sees_leaves = false;        // at least one leaf of the screens has status 1
    api_status_t missing_status = 0; // status that the library gives a missing leaf
};

// Returns true when the leaf has the status of a missing leaf. Always returns false while
// `sees_leaves` is false.
bool is_missing(const Doctor& doctor, const Leaf& leaf);

// Each function runs one group of checks.
void check_library(Doctor& doctor); // connects to the store
void check_leaves(const Doctor& doctor);
void check_writing(Doctor& doctor); // writes the scratch leaf and restores it
void check_console(const Doctor& doctor);
void check_system();

// Runs the groups of checks, prints the report and returns the exit status. Without a connection,
// skips the checks of leaves and writing. After a signal, skips the remaining checks.
int examine(const Options& options);
