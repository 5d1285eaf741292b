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

// A fault. A hit is a call to which the fault applies.
struct Fault {
    std::string call;
    std::optional<std::string> path;    // empty: the fault matches a call with any leaves
    std::optional<std::int32_t> result; // empty or 0: the call is carried out
    std::optional<std::int32_t> status; // empty: the fault sets no status
    std::optional<std::int64_t> after;  // number of matching calls before the first hit; empty: 0
    std::optional<std::int64_t> times;  // highest number of hits; empty: no limit
    unsigned line = 0;                  // line number in faults.toml

    std::int64_t let_pass = 0; // matching calls so far before the first hit
    std::int64_t hit = 0;      // hits so far
};

// Counts the call for every fault that matches it. Returns the first fault that applies to the
// call, or null.
const Fault* take_fault(std::vector<Fault>& faults, std::string_view call,
                        const std::vector<std::string>& paths);

// Returns true when `fault` sets the status of the leaf `path`. `fault` may be null.
bool decides_status(const Fault* fault, const std::string& path);

} // namespace simulator
