// The simulated meter of the running program. There is only one.
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

// Returns the meter. The first call reads its faults.
Meter& this_meter();

// Returns the directory that METER_SIM_DIR names, or an empty text.
std::string meter_folder();

// Prints `text` to standard error as one line, with "?" for each control character.
void print_trouble(std::string text);

// For tests: discards the meter, so that the next call of `this_meter` is like a process's first.
void forget_meter();

} // namespace simulator
