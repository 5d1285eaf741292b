// Checks a session from outside: the keys, the output, the screens, and the calls to the store. It
// does not know what the program must do next (tests/model/ does). It checks what must hold in
// every session, whatever is typed and whatever fails; README.md lists it.
#pragma once

#include <map>
#include <set>
#include <string>

struct SessionWatch {
    // The caller sets these two.
    bool values_break_lines = false; // a leaf holds a newline or zero byte: ignore the screens
    bool writes_may_fail = false;    // a fault was added: a call or a leaf may fail

    // By the label of a value on the screens.
    std::map<std::string, std::string> shown; // the value shown last
    std::map<std::string, std::string> kept;  // accepted answers, shown until they are saved
    std::set<std::string> answered_labels;    // answered since the last successful save

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
// a wait ends without one.
void watch_key(SessionWatch& watch, int key);
void watch_no_key(SessionWatch& watch);

// Call this after the program has returned.
void watch_end(SessionWatch& watch);
