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
    const char* label; // in the menu
    const char* prompt;
    const char* refusal;     // for an index beyond the names
    const char* infix;       // between index and name, where the value is shown
    const char* const* help; // lines shown before the prompt; ends with null
    const char* const* names;
    std::size_t name_count;
};

extern const IndexedSetting meter_form_setting;
extern const IndexedSetting class_amps_setting;
extern const IndexedSetting frequency_setting;

// The value as the menu shows it: with the name that its number stands for, as invalid when
// there is no such name (also for a negative number), or "[None]" when the text is empty.
std::string indexed_value(const IndexedSetting& setting, const EditableText& value);

// Shows the names and asks for an index. An answer that begins with an index in range is stored
// as typed and marked changed; "~" empties the text and leaves its mark; anything else leaves
// the text unchanged.
void enter_indexed_value(const IndexedSetting& setting, SettingsSession& session);

// Asks for the serial number. One whose year, week and model number are in range is stored as
// typed and marked changed; "~" puts the placeholder in its place, marked changed; anything else
// is told and leaves the text unchanged.
void enter_serial_number(EditableText& serial_number);
