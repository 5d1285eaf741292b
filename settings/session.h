// The one settings record of a run: what was read from the store and what was edited since.
//
// Loading a value never sets its changed flag and never overwrites a changed value. Only a
// successful save clears the flags.
#pragma once

#include "settings/editable.h"

#include <cstdint>
#include <vector>

// One Ethernet port.
struct InterfaceSettings {
    EditableFlag dhcp;
    EditableText ip_address;
    EditableText subnet_mask;
    EditableText default_gateway;
    EditableText mac_address;           // shown only
    EditableFlag link_enabled;          // shown only
    EditableText supported_media_types; // names separated by ";"; source of the choice only
    EditableText media_type;            // empty: auto-negotiate
    std::uint32_t number = 1;           // replaces the "?" in the port's leaf paths
};

struct SettingsSession {
    EditableText primary_dns;
    EditableText secondary_dns;
    std::vector<InterfaceSettings> interfaces;

    // The initialisation texts. Form, class amps and frequency hold an index as it was typed
    // or loaded, never its name.
    EditableText serial_number;
    EditableText options_list;
    EditableText meter_form;
    EditableText class_amps;
    EditableText nominal_frequency;
    EditableText enclosure;

    bool init_menu_requested = false;
};

// True when a setting that a save writes is changed. The flags of what is only shown (MAC address,
// link state, supported media types) do not count.
bool any_changed(const SettingsSession& session);

// True when one of the six initialisation texts is changed.
bool init_changed(const SettingsSession& session);

// Clears every changed flag that `any_changed` reads.
void clear_changed_flags(SettingsSession& session);
