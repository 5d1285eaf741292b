#include "settings/editable.h"

void assign_text(EditableText& target, const std::string& text, bool mark)
{
    target.text = text;
    target.changed = target.changed || mark;
}
