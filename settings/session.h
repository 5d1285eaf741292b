// The settings of one session: the values that were read from the store, and the technician's
// edits.
//
// Loading a value never sets the changed flag. Loading never overwrites a value whose changed flag
// is set. Only a successful save clears the changed flags.
#pragma once

#include "settings/editable.h"

#include <cstdint>
#include <vector>

// The settings of one Ethernet port.
struct InterfaceSettings {
    EditableFlag dhcp;
    EditableText ip_address;
    EditableText subnet_mask;
    EditableText default_gateway;
    EditableText mac_address;           // only shown, never edited
    EditableFlag link_enabled;          // only shown, never edited
    EditableText supported_media_types; // names separated by ";", the choices for `media_type`
    EditableText media_type;            // an empty text means auto-negotiate
    std::uint32_t number = 1;           // the port's number, which replaces "?" in the leaf paths
};

struct SettingsSession {
    EditableText primary_dns;
    EditableText secondary_dns;
    std::vector<InterfaceSettings> interfaces;

    // The initialisation settings. Form, class amps and frequency hold an index into a table of
    // names, exactly as it was typed or loaded. They do not hold the name.
    EditableText serial_number;
    EditableText options_list;
    EditableText meter_form;
    EditableText class_amps;
    EditableText nominal_frequency;
    EditableText enclosure;

    bool init_menu_requested = false;
};

// Returns true when the changed flag of a setting that a save writes is set. Ignores the values
// that are only shown: MAC address, link state and supported media types.
bool any_changed(const SettingsSession& session);

// Returns true when the changed flag of at least one of the six initialisation settings is set.
bool init_changed(const SettingsSession& session);

// Clears every changed flag that `any_changed` reads.
void clear_changed_flags(SettingsSession& session);
