// The trace of the calls. The file that METER_SIM_TRACE names gets one line of JSON per call.
#pragma once

#include "simulator/leaves.h"

#include <string>
#include <vector>

namespace simulator
{

// One leaf of a call that writes leaves.
struct TracedLeaf {
    const std::string& path;
    LeafValue value;
    int flag;
    int status;
};

// Each function appends one line to the trace, and replaces bytes that are not UTF-8. When the
// trace cannot be written, for example to a pipe without a reader, only the first failure is
// reported on standard error. When the reader of a pipe is slow, the functions wait for the reader.

void trace_pcd_init(bool connected);
void trace_pcd_close();
void trace_get_leaves(const std::vector<std::string>& paths, const std::vector<int>& statuses,
                      int result);
void trace_set_leaf(const TracedLeaf& leaf, const std::string& source, int result);
void trace_set_leaves(const std::vector<TracedLeaf>& leaves, const std::string& source, int result);
void trace_clear_leaves(const std::vector<std::string>& paths, const std::vector<int>& statuses,
                        const std::string& source, int result);
void trace_system(const char* command, int result); // `command` may be null, as for `system`
void trace_sleep(unsigned seconds);

// Returns true when METER_SIM_TRACE names a file. The functions above call `is_traced` themselves.
bool is_traced();

// For tests: makes the next failure to write the trace print its message again.
void forget_trace();

} // namespace simulator
