// The settings of one run: the values read from the store, and the technician's edits.
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
    EditableText supported_media_types; // names separated by ";", offered as choices
    EditableText media_type;            // empty: auto-negotiate
    std::uint32_t number = 1;           // replaces the "?" in the port's leaf paths
};

struct SettingsSession {
    EditableText primary_dns;
    EditableText secondary_dns;
    std::vector<InterfaceSettings> interfaces;

    // The initialisation settings. Form, class amps and frequency hold the index as it was typed
    // or loaded, not the name that the menu shows for it.
    EditableText serial_number;
    EditableText options_list;
    EditableText meter_form;
    EditableText class_amps;
    EditableText nominal_frequency;
    EditableText enclosure;

    bool init_menu_requested = false;
};

// Returns true when a setting that a save writes is changed. Ignores the flags of the values that
// are only shown: MAC address, link state and supported media types.
bool any_changed(const SettingsSession& session);

// Returns true when one of the six initialisation settings is changed.
bool init_changed(const SettingsSession& session);

// Clears every changed flag that `any_changed` reads.
void clear_changed_flags(SettingsSession& session);
