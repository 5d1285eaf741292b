// The simulated meter of the running program. A program has only one meter.
#pragma once

#include "simulator/faults.h"
#include "simulator/meter_store.h"

#include <string>
#include <vector>

namespace simulator
{

struct Meter {
    MeterStore store;

    std::vector<Fault> faults;
    std::string faults_error; // one line; empty: no error
};

// Returns the meter. The first call creates the meter and reads the faults file.
Meter& this_meter();

// Returns the directory that METER_SIM_DIR names, or an empty text when the variable is not set.
std::string meter_folder();

// Prints `text` to standard error as one line, with "?" for each control character.
void print_trouble(std::string text);

// For tests: discards the meter. The next call of `this_meter` then creates a new meter.
void forget_meter();

} // namespace simulator
