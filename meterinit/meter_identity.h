// The meter's serial number, form, class amps and nominal frequency: the questions, and the texts
// that the menu shows.
#pragma once

#include "settings/session.h"

#include <cstddef>
#include <string>

// Describes a setting whose value is an index into a table of names. The setting holds the index
// exactly as it was typed or loaded. Only the menu shows the name.
struct IndexedSetting {
    EditableText SettingsSession::*text;
    char label[17]; // the setting's label in the menu
    char prompt[23];
    char rejection[40]; // message for an index out of range
    char infix[15];     // text between the index and the name in the menu
    const char* help;   // text that is shown before the prompt
    const char (*names)[6];
    std::size_t name_count;
};

extern const IndexedSetting meter_form_setting;
extern const IndexedSetting class_amps_setting;
extern const IndexedSetting frequency_setting;

// Returns the text that the menu shows for `value`. An empty text gives "[None]". A number that is
// an index in range gives the text and the name. A number out of range gives the text and
// " IS INVALID!!!". A text without a number counts as 0.
std::string indexed_value(const IndexedSetting& setting, const EditableText& value);

// Shows the names and asks for an index. Stores an answer that begins with an index in range,
// exactly as typed, and sets the changed flag. An answer that begins with "~" empties the text and
// leaves the changed flag as it is. After any other answer, a time-out or a failed wait, the
// setting is unchanged.
void enter_indexed_value(const IndexedSetting& setting, SettingsSession& session);

// Asks for the serial number. Stores an answer exactly as typed when its year, week and model
// number are in range. For an answer that begins with "~", stores the placeholder. Sets the changed
// flag in both cases. After any other answer, a time-out or a failed wait, prints a message and
// leaves `serial_number` unchanged.
void enter_serial_number(EditableText& serial_number);
