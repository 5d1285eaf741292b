#include "settings/editable.h"

void assign_text(EditableText& target, const std::string& text, bool sets_changed)
{
    target.text = text;
    target.changed = target.changed || sets_changed;
}
