// Watches a session from outside: what the technician types and reads, the screens, and the calls
// that reach the store. It does not know what the program must do next (tests/model/ does), but
// what must hold whatever was typed and whatever failed: see README.md. A difference fails a check.
#pragma once

#include <map>
#include <set>
#include <string>

struct SessionWatch {
    bool values_break_lines = false; // a leaf holds a line end or a zero byte: screens are not read
    bool writes_may_fail = false;    // kept up to date from outside: a call or a leaf may fail

    // Of the screens, by label.
    std::map<std::string, std::string> shown; // what stands there
    std::map<std::string, std::string> kept;  // an accepted answer, to be shown until it is saved
    std::set<std::string> answered_labels;    // since the last save that succeeded

    bool connected = false;
    bool save_offered = false;
    bool batch_is_owed = false; // an options list was to be written, its batch was not

    std::string question; // what the program waits for an answer to
    bool answered = false;
    std::string answer;
    std::size_t echo = 0; // bytes of the answer's echo
};

// The program waits for the first key of an answer; `printed` is all that it printed since the
// first key of the last one.
void watch_question(SessionWatch& watch, const std::string& printed);

// A key is taken (EOF: the end of input), or the wait for it ended without one.
void watch_key(SessionWatch& watch, int key);
void watch_no_key(SessionWatch& watch);

// The program has returned.
void watch_end(SessionWatch& watch);
