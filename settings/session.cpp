#include "settings/session.h"

#include "settings/setting_leaves.h"

#include <algorithm>

namespace
{

bool port_changed(const InterfaceSettings& port)
{
    return !edits_of(port_leaves, port).empty();
}

template <typename Settings, std::size_t count>
void clear_flags(const SettingLeaf<Settings> (&leaves)[count], Settings& settings)
{
    for (const SettingLeaf<Settings>& leaf : leaves) {
        if (leaf.use != LeafUse::saved)
            continue;
        if (leaf.type == LeafType::boolean)
            (settings.*leaf.member.flag).changed = false;
        else
            (settings.*leaf.member.text).changed = false;
    }
}

} // namespace

bool any_changed(const SettingsSession& session)
{
    return !edits_of(dns_leaves, session).empty() ||
           std::any_of(session.interfaces.begin(), session.interfaces.end(), port_changed) ||
           init_changed(session);
}

bool init_changed(const SettingsSession& session)
{
    return !edits_of(init_leaves, session).empty();
}

void clear_changed_flags(SettingsSession& session)
{
    clear_flags(dns_leaves, session);
    for (InterfaceSettings& port : session.interfaces)
        clear_flags(port_leaves, port);
    clear_flags(init_leaves, session);
}
