// Faults that a simulated meter injects into the calls of a program.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace simulator
{

// The calls that a fault can name.
constexpr std::string_view fault_calls[] = {"pcd_init", "get_leaves", "set_leaf", "set_leaves",
                                            "clear_leaves"};

struct Fault {
    std::string call;
    std::optional<std::string> path;    // empty: matches a call whatever its leaves
    std::optional<std::int32_t> result; // empty or 0: the call is carried out
    std::optional<std::int32_t> status; // empty: the leaves keep their status
    std::int64_t after = 0;             // matching calls before the first hit
    std::optional<std::int64_t> times;  // most hits; empty: no limit
    unsigned line = 0;                  // in the faults file

    std::int64_t let_pass = 0;
    std::int64_t hit = 0;
};

// Counts a call for every fault that matches it. Returns the fault that applies to the call, or
// null.
const Fault* take_fault(std::vector<Fault>& faults, std::string_view call,
                        const std::vector<std::string>& paths);

// Returns true when the fault sets the status of this leaf of the call.
bool decides_status(const Fault* fault, const std::string& path);

} // namespace simulator
