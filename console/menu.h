// Menu screens: a framed title, groups of lines, and a numbered choice.
#pragma once

#include "settings/editable.h"

#include <string>
#include <vector>

struct MenuLine {
    std::string label;
    std::string value; // empty: the line has no value column
};

using MenuSection = std::vector<MenuLine>;

// A menu shows this text for a value that is not set.
inline constexpr char none_text[] = "[None]";

// Each appends a line to `section`. `add_text_line` shows `if_empty` in place of an empty text.
void add_line(MenuSection& section, const std::string& label, const std::string& value = "");
void add_text_line(MenuSection& section, const char* label, const EditableText& value,
                   const char* if_empty = none_text);

// What `show_menu` returns when there was no usable answer.
constexpr int no_choice = -1;

// Draws a menu and reads one choice.
//
// Shows the sections in order, with an empty line after each. When `numbered[i]` is true, the lines
// of `sections[i]` are choices: they are numbered from 1, and the numbers continue in the next
// numbered section. The other lines are not choices. A non-empty `exit_label` adds choice 0.
// Labels and values are never truncated.
//
// Returns the chosen number. Returns no_choice with a message after an invalid answer, and
// no_choice without a message when the wait for a key timed out or failed.
int show_menu(const std::string& title, const std::vector<MenuSection>& sections,
              const std::vector<bool>& numbered, const std::string& exit_label);
