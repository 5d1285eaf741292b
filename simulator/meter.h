// The one simulated meter of a running program.
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
    std::string faults_error; // one line; empty: none
};

// The meter, its faults read.
Meter& this_meter();

// The folder that the environment names; empty: none.
std::string meter_folder();

// Writes one line on standard error, whatever characters the text has.
void tell_trouble(std::string text);

// For tests: the next call is a process's first one.
void forget_meter();

} // namespace simulator
