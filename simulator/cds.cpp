#include <cds.h>

#include "simulator/meter.h"
#include "simulator/trace.h"

#include <string>

struct pcd_connection {
    int options; // cppcheck-suppress unusedStructMember ; the simulated meter ignores the options
};

namespace
{

using namespace simulator;

// Returns the reason why the meter cannot be reached, or an empty text when it can be reached.
std::string trouble_reaching_meter()
{
    const std::string folder = meter_folder();
    if (folder.empty())
        return "METER_SIM_DIR is not set to the folder of a simulated meter";

    Meter& meter = this_meter();
    if (!meter.faults_error.empty())
        return meter.faults_error;
    if (const Fault* fault = take_fault(meter.faults, "pcd_init", {}))
        return folder + "/faults.toml:" + std::to_string(fault->line) + ": pcd_init fails";

    if (meter.store.folder != folder) {
        meter.store = MeterStore();
        meter.store.folder = folder;
    }
    std::string error;
    refresh_leaves(meter.store, error);
    return error;
}

} // namespace

pcd_connection* pcd_init(int options)
{
    const std::string trouble = trouble_reaching_meter();
    if (!trouble.empty())
        print_trouble(trouble);
    pcd_connection* connection = trouble.empty() ? new pcd_connection{options} : nullptr;
    trace_pcd_init(connection != nullptr);
    return connection;
}

void pcd_close(pcd_connection* connection)
{
    if (connection == nullptr)
        return;
    delete connection;
    trace_pcd_close();
}
