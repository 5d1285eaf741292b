// The grammar of the options list, stated apart from the parser: what an entry must bring about.
#pragma once

#include <string>
#include <vector>

struct OptionsVerdict {
    std::string told;                // printed between the echo of the entry and the return
    bool emptied = false;            // the list is emptied, its mark stays
    bool taken = false;              // the list becomes the entry, marked changed
    bool checked = false;            // the batch is rebuilt
    std::vector<std::string> leaves; // of the rebuilt batch, in order: "PATH=true", "PATH=false"
};

// What must become of an entry that a line end has ended.
OptionsVerdict judge_options(const std::string& entry);
