// The one settings record of a run: what was read from the store and what was edited since.
//
// Loaded values never set a mark and never overwrite a value whose mark is set; only a
// successful save clears the marks.
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
    std::uint32_t number = 1;           // stands for the "?" in the port's leaf paths
};

struct SettingsSession {
    EditableText primary_dns;
    EditableText secondary_dns;
    std::vector<InterfaceSettings> interfaces;

    // The initialisation texts. Form, class amps and frequency hold an index as it was typed
    // or loaded, never the name that it stands for.
    EditableText serial_number;
    EditableText options_list;
    EditableText meter_form;
    EditableText class_amps;
    EditableText nominal_frequency;
    EditableText enclosure;

    bool init_menu_requested = false;
};

// True when anything that a save would write is marked changed. The marks of what is only
// shown (MAC address, link state, supported media types) do not count.
bool any_changed(const SettingsSession& session);

// True when one of the six initialisation texts is marked changed.
bool init_changed(const SettingsSession& session);

// Clears every mark that `any_changed` looks at.
void clear_marks(SettingsSession& session);
