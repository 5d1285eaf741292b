// Values that a technician may edit, each with its changed flag.
#pragma once

#include <string>

struct EditableText {
    std::string text;
    bool changed = false;
};

struct EditableFlag {
    bool value = false;
    bool changed = false;
};

// Puts `text` into `target`. A true `mark` sets the changed flag; a false one leaves it as it is,
// because only a successful save clears the flag.
void assign_text(EditableText& target, const std::string& text, bool mark);
