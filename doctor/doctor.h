// An examination of the meter: groups of checks, each check a function and a row of its group's
// table.
#pragma once

#include "doctor/command_line.h"
#include "doctor/elements.h"
#include "doctor/report.h"

#include <cstddef>

// Exit statuses.
constexpr int status_ok = 0; // or to note
constexpr int status_something_wrong = 1;
constexpr int status_wrong_usage = 2;
constexpr int status_no_store = 3;
constexpr int status_interrupted = 128; // plus the signal's number, as shells have it

struct Doctor {
    Options options;
    Report report;
    bool connected = false;
    void (*restore)(Doctor& doctor) = nullptr; // while something must be put back
    bool sees_leaves = false;                  // that exist: the library gives them status 1
    api_status_t missing_status = 0; // that the library gives for a leaf that no meter has
};

// True for a leaf that reads as one that no meter has.
bool is_missing(const Doctor& doctor, const Leaf& leaf);

enum class RunWhen : unsigned char {
    connected, // to the store
    asked,     // without a store too
    always,    // even after an interruption
};

// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): in the order in which rows read well
struct Check {
    char name[18]; // in JSON
    void (*run)(Doctor& doctor);
    RunWhen when = RunWhen::connected;
};

// Runs the checks of a group in turn.
void run_checks(Doctor& doctor, const char* group, const Check* checks, std::size_t count);

template <std::size_t count>
void run_checks(Doctor& doctor, const char* group, const Check (&checks)[count])
{
    run_checks(doctor, group, checks, count);
}

// The groups.
void check_library(Doctor& doctor); // connects to the store
void check_leaves(Doctor& doctor);
void check_writing(Doctor& doctor); // writes the scratch leaf and restores it
void check_console(Doctor& doctor);
void check_system(Doctor& doctor);

// Runs all groups, prints the report and returns the exit status.
int examine(const Options& options);
