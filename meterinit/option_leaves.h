// The option-leaf batch, in which the options parser prepares the option leaves for the next save,
// and the action that clears them in the store. The batch is global.
#pragma once

#include "meterinit/option_tokens.h"

#include <string>
#include <vector>

// True from the moment a save has collected the options list until it has written the batch, and so
// also after a save that failed in between.
bool are_options_pending();
void set_options_pending(bool pending);

// Empties the batch.
void begin_option_batch();

// Adds the leaf `path`, a whole path, to the batch.
void add_option_leaf(const std::string& path, bool value);

// Adds each of these option leaves with the same value, in the order of their table.
void add_option_leaves(LeafSet leaves, bool value);

// Adds an update-service trigger, a whole path, to the batch.
void add_option_trigger(const std::string& path);

// Writes the batch in one call and keeps it. Returns the library's result, 0 for success.
int write_option_batch();

// Appends the path of the leaf that was prepared last to `paths`.
void push_current_path(std::vector<std::string>& paths);

// Empties the options list and sets every option leaf but that of MID to false in the store,
// immediately and in one call; the batch stays as it is. Returns the library's result, 0 for
// success.
int clear_option_leaves();
