// The batch of option leaves, and the function that clears the option leaves in the store. The
// check of an options list fills the batch. The next save writes the batch. There is only one
// batch, which is global.
#pragma once

#include "meterinit/option_tokens.h"

#include <string>
#include <vector>

// The options are pending while a save must still write the batch. A save makes them pending when
// the options list is changed and not empty. A save ends this state after it has tried to write the
// batch. If a save fails before this attempt, the options stay pending.
bool are_options_pending();
void set_options_pending(bool pending);

// Removes all leaves from the batch.
void begin_option_batch();

// Adds a leaf and its value to the batch. `path` is complete, with "/Value".
void add_option_leaf(const std::string& path, bool value);

// Adds each option leaf in the set `leaves` to the batch, with the same value, in the order of the
// table `option_leaves`.
void add_option_leaves(LeafSet leaves, bool value);

// Adds an update-service trigger to the batch, with the value true. `path` is complete, with
// "/Value".
void add_option_trigger(const std::string& path);

// Writes the batch in one call. The leaves stay in the batch. Returns the library's result, which
// is 0 for success.
int write_option_batch();

// Appends to `paths` the path of the leaf that was prepared last, for the batch or for clearing.
void push_current_path(std::vector<std::string>& paths);

// Immediately writes to the store in one call: an empty options list, and false for every option
// leaf except MID. Does not change the batch. Returns the library's result, which is 0 for success.
int clear_option_leaves();
