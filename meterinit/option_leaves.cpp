#include "meterinit/option_leaves.h"

#include "store/connection.h"

bool options_pending = false;

namespace
{

// Arrays that run in parallel, as the library takes them.
struct LeafBatch {
    std::vector<std::string> paths;
    std::vector<toolkit::CElement> values;
    std::vector<pcd_tribool_t> flags;
};

// The leaf that is being prepared.
std::string current_path;
toolkit::CElement current_element;

LeafBatch option_batch;
std::vector<api_status_t> option_statuses;

// In the order in which they are cleared. MID is set by the options parser only and never
// cleared, so it is deliberately not among them.
constexpr const char* cleared_options[] = {
    "/VMIC/Options/Serial/1/Value",
    "/VMIC/Options/Serial/2/Value",
    "/VMIC/Options/Serial/3/Value",
    "/VMIC/Options/Ethernet/1/Value",
    "/VMIC/Options/Ethernet/2/Value",
    "/VMIC/Options/Ethernet/Wifi/Value",
    "/VMIC/Options/Modem/Analog/Value",
    "/VMIC/Options/Modem/CellGSM/Value",
    "/VMIC/Options/Modem/CellSprint/Value",
    "/VMIC/Options/Modem/CellVerison/Value", // the leaf is spelt so
    "/VMIC/Options/ExternAntenna/Value",
    "/VMIC/Options/CommRepeater/Value",
    "/VMIC/Options/PhoneHomeOnPowerFail/Value",
    "/VMIC/Options/IntDIO/6Ch/Value",
    "/VMIC/Options/IntDIO/6ChwPS/Value",
    "/VMIC/Options/IntAO/0_1ma/Value",
    "/VMIC/Options/IntAO/4_20ma/Value",
    "/VMIC/Options/ExternIO/8ChDIO/Value",
    "/VMIC/Options/ExternIO/4ChAI/Value",
    "/VMIC/Options/ExternIO/8DIOPlus4AI/Value",
    "/VMIC/Options/Web/Value",
    "/VMIC/Options/IEC61850/Value",
    "/VMIC/Options/DLMS/Value",
    "/VMIC/Options/IB/Value",
    "/VMIC/Options/IEEE1588/Value",
    "/VMIC/Options/NTP/Value",
    "/VMIC/Options/PPS/Value",
    "/VMIC/Options/DualLP/Value",
    "/VMIC/Options/ML/Value",
    "/VMIC/Options/3P/Value",
    "/VMIC/Options/EAP/Value",
    "/VMIC/Options/DC/Value",
    "/VMIC/Options/PQ/Value",
    "/VMIC/Options/PQ1/Value",
    "/VMIC/Options/PQ2/Value",
    "/VMIC/Options/PQ3/Value",
    "/VMIC/Options/PMU/Value",
};
static_assert(sizeof cleared_options / sizeof cleared_options[0] == 37);

// Adds the leaf that is being prepared.
void push_current_leaf(LeafBatch& batch, pcd_tribool_t flag)
{
    push_current_path(batch.paths);
    batch.values.push_back(current_element);
    batch.flags.push_back(flag);
}

int write_batch(const LeafBatch& batch, std::vector<api_status_t>& statuses)
{
    return cds().set_leaves(batch.paths, batch.values, batch.flags, statuses, "");
}

} // namespace

void begin_option_batch()
{
    option_batch = {};
}

void add_option_leaf(const std::string& path, bool value)
{
    current_path = path;
    current_element = value;
    push_current_leaf(option_batch, setting_flag);
}

void add_option_trigger(const std::string& path)
{
    current_path = path;
    current_element = true;
    push_current_leaf(option_batch, trigger_flag);
}

int write_option_batch()
{
    return write_batch(option_batch, option_statuses);
}

void push_current_path(std::vector<std::string>& paths)
{
    paths.push_back(current_path);
}

int clear_option_leaves()
{
    LeafBatch batch;
    current_path = "/VMIC/OptionsList/Value";
    current_element = std::string();
    push_current_leaf(batch, setting_flag);

    current_element = false;
    for (const char* path : cleared_options) {
        current_path = path;
        push_current_leaf(batch, setting_flag);
    }
    std::vector<api_status_t> statuses;
    return write_batch(batch, statuses);
}
