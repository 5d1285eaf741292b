#include "settings/session.h"

#include <algorithm>
#include <iterator>

namespace
{

constexpr EditableText SettingsSession::*dns_texts[] = {
    &SettingsSession::primary_dns,
    &SettingsSession::secondary_dns,
};

// The texts of a port that a technician can edit.
constexpr EditableText InterfaceSettings::*port_texts[] = {
    &InterfaceSettings::ip_address,
    &InterfaceSettings::subnet_mask,
    &InterfaceSettings::default_gateway,
    &InterfaceSettings::media_type,
};

constexpr EditableText SettingsSession::*init_texts[] = {
    &SettingsSession::serial_number,     &SettingsSession::options_list,
    &SettingsSession::meter_form,        &SettingsSession::class_amps,
    &SettingsSession::nominal_frequency, &SettingsSession::enclosure,
};

template <typename Record, std::size_t count>
bool any_text_changed(const Record& record, EditableText Record::*const (&texts)[count])
{
    return std::any_of(std::begin(texts), std::end(texts),
                       [&](EditableText Record::*text) { return (record.*text).changed; });
}

template <typename Record, std::size_t count>
void clear_text_marks(Record& record, EditableText Record::*const (&texts)[count])
{
    for (EditableText Record::*const text : texts)
        (record.*text).changed = false;
}

bool port_changed(const InterfaceSettings& port)
{
    return port.dhcp.changed || any_text_changed(port, port_texts);
}

} // namespace

bool any_changed(const SettingsSession& session)
{
    return any_text_changed(session, dns_texts) ||
           std::any_of(session.interfaces.begin(), session.interfaces.end(), port_changed) ||
           init_changed(session);
}

bool init_changed(const SettingsSession& session)
{
    return any_text_changed(session, init_texts);
}

void clear_marks(SettingsSession& session)
{
    clear_text_marks(session, dns_texts);
    for (InterfaceSettings& port : session.interfaces) {
        port.dhcp.changed = false;
        clear_text_marks(port, port_texts);
    }
    clear_text_marks(session, init_texts);
}
