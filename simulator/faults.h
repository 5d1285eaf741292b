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
    std::optional<std::string> path;    // none: calls with any leaves, or without
    std::optional<std::int32_t> result; // none, or 0: the call takes its course
    std::optional<std::int32_t> status; // none: the leaves keep theirs
    std::int64_t after = 0;
    std::optional<std::int64_t> times; // none: no end
    unsigned line = 0;                 // of the faults file

    std::int64_t let_pass = 0;
    std::int64_t hit = 0;
};

// Counts a call for every fault that matches it, and returns the one that applies to it;
// null: none does.
const Fault* take_fault(std::vector<Fault>& faults, std::string_view call,
                        const std::vector<std::string>& paths);

// Whether the fault decides the status of a leaf of the call.
bool decides_status(const Fault* fault, const std::string& path);

} // namespace simulator
