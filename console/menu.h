// Menu screens: a framed title, groups of lines, and a numbered choice.
#pragma once

#include "settings/editable.h"

#include <string>
#include <vector>

struct MenuLine {
    std::string label;
    std::string value; // empty: a line without a value column
};

using MenuSection = std::vector<MenuLine>;

// What a menu shows for a value that is not set.
inline constexpr char none_text[] = "[None]";

// Appends a line to `section`. A text is shown as it is, or as `if_empty`.
void add_line(MenuSection& section, const std::string& label, const std::string& value = "");
void add_text_line(MenuSection& section, const char* label, const EditableText& value,
                   const char* if_empty = none_text);

// What `show_menu` returns when there was no usable answer.
constexpr int no_choice = -1;

// Draws a menu and reads one choice.
//
// `sections` are shown in order, with an empty line after each. The lines of a section whose
// entry in `numbered` is true are choices and get numbers, which run on from 1 across all such
// sections; the others are shown only. A non-empty `exit_label` adds the line "0." and makes 0
// a choice. Labels and values are never cut, however long.
//
// Returns the chosen number, or no_choice: after an invalid answer, with a message, or without
// one when waiting for a key timed out or failed.
int show_menu(const std::string& title, const std::vector<MenuSection>& sections,
              const std::vector<bool>& numbered, const std::string& exit_label);
