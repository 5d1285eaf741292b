// Values on their way into the settings record: typed by the technician, or read from the store.
#pragma once

#include "settings/editable.h"
#include "store/client_library.h"

#include <string>
#include <vector>

// True when an answer asks to empty a value.
bool asks_to_clear(const std::string& answer);

// Asks for an IPv4 address and puts the answer into `target`, exactly as typed and marked
// changed; what follows the fourth number is kept too. "~" empties the target's text and
// leaves its mark as it was.
// Returns answer_taken, answer_timed_out, or answer_refused for anything else, with `target`
// unchanged and no message.
int prompt_ipv4(const std::string& prompt, EditableText& target);

// As `prompt_ipv4`, telling the technician when no answer was taken. Returns true when one was, "~"
// included.
bool enter_address(const std::string& prompt, EditableText& target);

// The text as a menu shows it: "[None]" when it is empty.
std::string text_or_none(const EditableText& value);

// The results of one read, walked leaf by leaf in the order of the paths.
struct LeafCursor {
    std::vector<api_status_t>::const_iterator status;
    std::vector<toolkit::CElement>::const_iterator element;
};

// Loads the next leaf: a target that is marked changed is left alone, otherwise it becomes the
// leaf's text, or empty when the leaf's status is not success. Moves on by one leaf in any case.
void load_text(EditableText& target, LeafCursor& next);

// As `load_text`, for leaves that must hold a string: any other type counts as unreadable.
void load_string_text(EditableText& target, LeafCursor& next);

// Loads the next leaf into a flag that is not marked changed: a readable boolean, else
// `fallback`. Moves on by one leaf in any case.
void load_flag(EditableFlag& target, LeafCursor& next, bool fallback);
