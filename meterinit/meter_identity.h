// Showing and entering the meter's serial number, form, class amps and nominal frequency.
#pragma once

#include "settings/session.h"

#include <cstddef>
#include <string>

// A setting that holds an index into a table of names, as it was typed or loaded. Only the menu
// shows the name.
struct IndexedSetting {
    EditableText SettingsSession::*text;
    char label[17]; // in the menu
    char prompt[23];
    char rejection[40]; // message for an index out of range
    char infix[15];     // shown between index and name
    const char* help;   // shown before the prompt
    const char (*names)[6];
    std::size_t name_count;
};

extern const IndexedSetting meter_form_setting;
extern const IndexedSetting class_amps_setting;
extern const IndexedSetting frequency_setting;

// Returns the text that the menu shows for a value: the value and its name; the value and
// " IS INVALID!!!" when it is not an index in range; or "[None]" when it is empty.
std::string indexed_value(const IndexedSetting& setting, const EditableText& value);

// Shows the names and asks for an index. Stores an answer that begins with an index in range,
// exactly as typed, and sets the changed flag. "~" empties the text and does not set the flag. Any
// other answer leaves the text unchanged.
void enter_indexed_value(const IndexedSetting& setting, SettingsSession& session);

// Asks for the serial number. Stores it as typed when its year, week and model number are in range.
// "~" stores the placeholder. Both set the changed flag. Any other answer leaves the text
// unchanged, and the function prints the reason.
void enter_serial_number(EditableText& serial_number);
