#include "settings/session.h"

#include "settings/setting_leaves.h"

#include <doctest/doctest.h>

namespace
{

constexpr EditableText SettingsSession::*session_texts[] = {
    &SettingsSession::primary_dns,       &SettingsSession::secondary_dns,
    &SettingsSession::serial_number,     &SettingsSession::options_list,
    &SettingsSession::meter_form,        &SettingsSession::class_amps,
    &SettingsSession::nominal_frequency, &SettingsSession::enclosure,
};

constexpr EditableText InterfaceSettings::*editable_port_texts[] = {
    &InterfaceSettings::ip_address,
    &InterfaceSettings::subnet_mask,
    &InterfaceSettings::default_gateway,
    &InterfaceSettings::media_type,
};

constexpr EditableText InterfaceSettings::*shown_port_texts[] = {
    &InterfaceSettings::mac_address,
    &InterfaceSettings::supported_media_types,
};

SettingsSession session_with_ports(std::size_t count)
{
    SettingsSession session;
    session.interfaces.resize(count);
    return session;
}

} // namespace

TEST_CASE("a row whose member does not match its type is rejected")
{
    using Row = SettingLeaf<InterfaceSettings>;
    const Row text = {"/a", LeafType::string, LeafUse::saved, &InterfaceSettings::media_type};
    const Row flag = {"/b", LeafType::boolean, LeafUse::saved, &InterfaceSettings::dhcp};
    const Row text_as_flag = {"/c", LeafType::boolean, LeafUse::saved, text.member};
    const Row flag_as_number = {"/d", LeafType::number, LeafUse::saved, flag.member};
    const Row good[] = {text, flag};
    CHECK(members_match_types(good));
    const Row bad[] = {text, text_as_flag};
    CHECK_FALSE(members_match_types(bad));
    const Row also_bad[] = {flag, flag_as_number};
    CHECK_FALSE(members_match_types(also_bad));
}

TEST_CASE("a new session is empty and unchanged")
{
    const SettingsSession session = session_with_ports(1);
    CHECK_FALSE(any_changed(session));
    CHECK_FALSE(init_changed(session));
    CHECK_FALSE(session.init_menu_requested);
    CHECK(session.interfaces[0].number == 1);
    CHECK_FALSE(session.interfaces[0].dhcp.value);
}

TEST_CASE("each text of the session counts as a change, the last six as initialisation")
{
    for (std::size_t i = 0; i < 8; ++i) {
        SettingsSession session = session_with_ports(1);
        (session.*session_texts[i]).changed = true;
        CHECK(any_changed(session));
        CHECK(init_changed(session) == (i >= 2));
        clear_changed_flags(session);
        CHECK_FALSE((session.*session_texts[i]).changed);
        CHECK_FALSE(any_changed(session));
    }
}

TEST_CASE("an edit of any port counts as a change")
{
    for (const std::size_t port : {0U, 2U}) {
        for (const auto text : editable_port_texts) {
            SettingsSession session = session_with_ports(3);
            (session.interfaces[port].*text).changed = true;
            CHECK(any_changed(session));
            CHECK_FALSE(init_changed(session));
            clear_changed_flags(session);
            CHECK_FALSE((session.interfaces[port].*text).changed);
        }
        SettingsSession session = session_with_ports(3);
        session.interfaces[port].dhcp.changed = true;
        CHECK(any_changed(session));
        clear_changed_flags(session);
        CHECK_FALSE(any_changed(session));
    }
}

TEST_CASE("clearing the changed flags keeps the values")
{
    SettingsSession session = session_with_ports(1);
    session.primary_dns = {"192.0.2.1", true};
    session.interfaces[0].dhcp = {true, true};
    clear_changed_flags(session);
    CHECK(session.primary_dns.text == "192.0.2.1");
    CHECK(session.interfaces[0].dhcp.value);
}

TEST_CASE("values that are only shown do not count as changes, and their flags are not cleared")
{
    SettingsSession session = session_with_ports(1);
    InterfaceSettings& port = session.interfaces[0];
    for (const auto text : shown_port_texts)
        (port.*text).changed = true;
    port.link_enabled.changed = true;
    CHECK_FALSE(any_changed(session));
    clear_changed_flags(session);
    for (const auto text : shown_port_texts)
        CHECK((port.*text).changed);
    CHECK(port.link_enabled.changed);
}

TEST_CASE("the path of a text is the path of its row")
{
    const char* path = nullptr;
    // This must be an assignment, because the compiler would evaluate an initialiser and the
    // function would never run.
    // cppcheck-suppress redundantInitialization
    path = path_of(init_leaves, &SettingsSession::enclosure);
    CHECK(std::string(path) == "/VMIC/Enclosure");
}
