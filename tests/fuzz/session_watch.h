// Checks the keys, the output, the screens and the store calls of a session. These checks do not
// predict the session, as the model in tests/model/ does. They check conditions that hold in every
// session, for any keys and any failures. README.md lists the conditions.
#pragma once

#include <map>
#include <set>
#include <string>

struct SessionWatch {
    // The caller sets these two members.
    bool values_break_lines = false; // a leaf has a newline or zero byte, so ignore the screens
    bool writes_may_fail = false;    // a fault was added, so a call or a leaf may fail

    // The keys of the maps, and the texts in the set, are labels on the screens.
    std::map<std::string, std::string> shown; // each value on its latest screen
    std::map<std::string, std::string> kept;  // accepted answers, shown until they are saved
    std::set<std::string> answered_labels;    // labels of answers since the last successful save

    bool connected = false;
    bool save_offered = false;
    bool batch_is_owed = false; // a save collected an options list but has not written its batch

    std::string question; // the question that the program is waiting at
    bool answered = false;
    std::string answer;
    std::size_t echo = 0; // bytes of the answer's echo
};

// Call this when the program waits for the first key of an answer. `printed` is everything that it
// printed since it waited for the first key of the previous answer.
void watch_question(SessionWatch& watch, const std::string& printed);

// Call `watch_key` when the program reads a key (EOF at the end of input), and `watch_no_key` when
// a wait ends without a key.
void watch_key(SessionWatch& watch, int key);
void watch_no_key(SessionWatch& watch);

// Call this after the program has returned.
void watch_end(SessionWatch& watch);
