// The option leaves: one boolean leaf of the store per option that a meter may have, and the
// program-wide batch in which the options parser prepares them for the next save.
#pragma once

#include "store/client_library.h"

#include <string>
#include <vector>

// True from the moment a save has put the options list on its set list until the batch has been
// written, so also after a save that failed in between.
extern bool options_pending;

// Empties the batch.
void begin_option_batch();

// Adds the option leaf `path`, a whole path, to the batch.
void add_option_leaf(const std::string& path, bool value);

// Adds an update-service trigger to the batch.
void add_option_trigger(const std::string& path);

// Writes the batch in one call; it stays as it is. Returns the library's result, 0 for success.
int write_option_batch();

// Appends the path that is being prepared to `paths`.
void push_current_path(std::vector<std::string>& paths);

// Empties the options list and sets every option leaf but that of MID to false in the store, at
// once and in one call; the batch is not touched. Returns the library's result, 0 for success.
int clear_option_leaves();
