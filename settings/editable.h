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

// Puts `text` into `target`. Sets the changed flag when `sets_changed` is true; otherwise leaves
// the flag as it is, because only a successful save clears it.
void assign_text(EditableText& target, const std::string& text, bool sets_changed);
