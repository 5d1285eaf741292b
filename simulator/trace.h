// The trace of the calls: one line of JSON for each, when METER_SIM_TRACE names a file.
#pragma once

#include "simulator/leaves.h"

#include <string>
#include <vector>

namespace simulator
{

// One leaf of a write.
struct TracedLeaf {
    const std::string& path;
    LeafValue value;
    int flag;
    int status;
};

// Each appends its line before it returns. Bytes that are not UTF-8 are replaced in the line.
// A trace that cannot be written, a pipe without a reader among others, is said so on standard
// error, once. A reader that is slow is waited for.

void trace_pcd_init(bool connected);
void trace_pcd_close();
void trace_get_leaves(const std::vector<std::string>& paths, const std::vector<int>& statuses,
                      int result);
void trace_set_leaf(const TracedLeaf& leaf, const std::string& source, int result);
void trace_set_leaves(const std::vector<TracedLeaf>& leaves, const std::string& source, int result);
void trace_clear_leaves(const std::vector<std::string>& paths, const std::vector<int>& statuses,
                        const std::string& source, int result);
void trace_system(const char* command, int result); // null: no command
void trace_sleep(unsigned seconds);

// Whether there is a trace. The routines above see to it themselves.
bool is_traced();

// For tests: a trace that cannot be written is said so once more.
void forget_trace();

} // namespace simulator
