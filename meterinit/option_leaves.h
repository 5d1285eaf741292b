// The option-leaf batch, and the action that clears the option leaves in the store. The options
// parser fills the batch; the next save writes it. The batch is global.
#pragma once

#include "meterinit/option_tokens.h"

#include <string>
#include <vector>

// Pending means that a save must still write the batch. A save sets this when it collects a changed
// options list and clears it after writing the batch. It stays set when the save fails in between.
bool are_options_pending();
void set_options_pending(bool pending);

// Empties the batch.
void begin_option_batch();

// Adds a leaf to the batch. `path` is complete, with "/Value".
void add_option_leaf(const std::string& path, bool value);

// Adds each of these option leaves with the same value, in the order of `option_leaves`.
void add_option_leaves(LeafSet leaves, bool value);

// Adds an update-service trigger to the batch. `path` is complete, with "/Value".
void add_option_trigger(const std::string& path);

// Writes the batch in one call and does not empty it. Returns the library's result, 0 for success.
int write_option_batch();

// Appends to `paths` the path of the leaf that was added last.
void push_current_path(std::vector<std::string>& paths);

// Empties the options list in the store and sets every option leaf except MID to false, immediately
// and in one call. Does not change the batch. Returns the library's result, 0 for success.
int clear_option_leaves();
