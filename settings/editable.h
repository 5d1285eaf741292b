// Values that a technician may edit. Each value has a changed flag.
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

// Stores `text` in `target`. Sets the changed flag when `sets_changed` is true. Never clears the
// changed flag, because only a successful save does so.
void assign_text(EditableText& target, const std::string& text, bool sets_changed);
