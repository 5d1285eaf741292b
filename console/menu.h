// Menu screens. A screen has a title in a frame, sections of lines, and a prompt for a number.
#pragma once

#include "settings/editable.h"

#include <string>
#include <vector>

struct MenuLine {
    std::string label;
    std::string value; // empty: the line shows only the label
};

using MenuSection = std::vector<MenuLine>;

// A menu shows this text in place of an empty value.
inline constexpr char none_text[] = "[None]";

// Each function appends one line to `section`. `add_text_line` shows `if_empty` when the text of
// `value` is empty.
void add_line(MenuSection& section, const std::string& label, const std::string& value = "");
void add_text_line(MenuSection& section, const char* label, const EditableText& value,
                   const char* if_empty = none_text);

// The result of `show_menu` when it got no valid answer.
constexpr int no_choice = -1;

// Draws a menu and reads one choice.
//
// Draws the sections in order, with an empty line after each section. The lines of `sections[i]`
// are choices when `numbered[i]` is true. The first choice has the number 1, and the numbers
// continue from section to section. A non-empty `exit_label` is choice 0. Labels and values are
// never truncated.
//
// Returns the number of the choice. After an invalid answer, prints a message and returns
// no_choice. When the wait for a key timed out or failed, returns no_choice without a message.
int show_menu(const std::string& title, const std::vector<MenuSection>& sections,
              const std::vector<bool>& numbered, const std::string& exit_label);
