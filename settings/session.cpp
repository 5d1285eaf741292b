#include "settings/session.h"

#include "settings/setting_leaves.h"

#include <algorithm>
#include <iterator>

namespace
{

template <typename Record, std::size_t count>
bool any_edited(const SettingLeaf<Record> (&leaves)[count], const Record& record)
{
    return std::any_of(std::begin(leaves), std::end(leaves),
                       [&](const SettingLeaf<Record>& leaf) { return is_edited(leaf, record); });
}

template <typename Record, std::size_t count>
void clear_edited(const SettingLeaf<Record> (&leaves)[count], Record& record)
{
    for (const SettingLeaf<Record>& leaf : leaves) {
        if (leaf.use == LeafUse::saved)
            changed_flag(leaf, record) = false;
    }
}

bool port_changed(const InterfaceSettings& port)
{
    return any_edited(port_leaves, port);
}

} // namespace

bool any_changed(const SettingsSession& session)
{
    return any_edited(dns_leaves, session) ||
           std::any_of(session.interfaces.begin(), session.interfaces.end(), port_changed) ||
           init_changed(session);
}

bool init_changed(const SettingsSession& session)
{
    return any_edited(init_leaves, session);
}

void clear_changed_flags(SettingsSession& session)
{
    clear_edited(dns_leaves, session);
    for (InterfaceSettings& port : session.interfaces)
        clear_edited(port_leaves, port);
    clear_edited(init_leaves, session);
}
