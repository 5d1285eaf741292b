// Values that a technician may edit, each with its "changed" mark.
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

// Puts `text` into `target`. A true `mark` marks it changed; a mark once set is never taken
// back here, only by a successful save.
void assign_text(EditableText& target, const std::string& text, bool mark);
