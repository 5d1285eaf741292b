// The meter's serial number, form, class amps and nominal frequency: how they are shown and
// entered.
#pragma once

#include "settings/session.h"

#include <cstddef>
#include <string>

// A setting that is an index into a table of names. The text that is typed or loaded is kept;
// the names are only shown.
struct IndexedSetting {
    EditableText SettingsSession::*text;
    char label[17]; // in the menu
    char prompt[23];
    char rejection[40]; // for an index beyond the names
    char infix[15];     // between index and name, where the value is shown
    const char* help;   // lines shown before the prompt
    const char (*names)[6];
    std::size_t name_count;
};

extern const IndexedSetting meter_form_setting;
extern const IndexedSetting class_amps_setting;
extern const IndexedSetting frequency_setting;

// The value as the menu shows it: with the name of its number, as invalid when
// there is no such name (also for a negative number), or "[None]" when the text is empty.
std::string indexed_value(const IndexedSetting& setting, const EditableText& value);

// Shows the names and asks for an index. An answer that begins with an index in range is stored
// as typed and sets the changed flag; "~" empties the text and leaves its flag; anything else
// leaves the text unchanged.
void enter_indexed_value(const IndexedSetting& setting, SettingsSession& session);

// Asks for the serial number. One whose year, week and model number are in range is stored as
// typed; "~" stores the placeholder. Both set the changed flag. Anything else prints the reason and
// leaves the text unchanged.
void enter_serial_number(EditableText& serial_number);
