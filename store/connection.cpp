#include "store/connection.h"

namespace
{

toolkit::CCds connection;

// Closes an open connection at the exit of the program.
struct ExitGuard {
    ~ExitGuard()
    {
        cds_disconnect();
    }
} exit_guard;

} // namespace

int cds_connect()
{
    if (connection.handle == nullptr)
        connection.handle = pcd_init(0);
    return connection.handle != nullptr ? 0 : -1;
}

void cds_disconnect()
{
    if (connection.handle == nullptr)
        return;
    pcd_close(connection.handle);
    connection.handle = nullptr;
}

int cds_get(const std::vector<std::string>& paths, std::vector<api_status_t>& statuses,
            std::vector<toolkit::CElement>& elements)
{
    std::vector<toolkit::element_property_t> unused_properties;
    const int result = connection.get_leaves(paths, statuses, elements, unused_properties);
    const bool complete = statuses.size() == paths.size() && elements.size() == paths.size();
    return result == 0 && !complete ? -1 : result;
}

toolkit::CCds& cds()
{
    return connection;
}
