// Watches a session from outside: what the technician types and is told, the screens, and the
// calls that reach the store. From the answers that were taken it knows what is edited and not
// saved, and so what each screen must offer, which calls each answer may bring about, and what
// every save must write. Any difference fails a check.
#pragma once

#include "tests/unit/fake_store.h"

#include <array>
#include <string>
#include <vector>

// A status that waits for a leaf: `skip` leaves pass before it.
struct StatusFault {
    unsigned char skip;
    api_status_t status;
};

// Counts a leaf; returns the status that a fault has for it, or else `usual`.
api_status_t next_status(std::vector<StatusFault>& faults, api_status_t usual);

constexpr std::size_t entry_count = 13; // values that a technician can enter

struct Edit {
    bool marked = false;
    std::string text; // counts only while marked; of DHCP "true" or "false"
};

struct SessionWatch {
    // To be kept up to date from outside.
    std::vector<StatusFault> write_faults; // of the leaves written from now on
    std::string supported_types;           // as the program read them last
    bool values_have_line_ends = false;    // some leaf has one: lines of a screen may be broken

    std::array<Edit, entry_count> edits;
    std::vector<std::string> batch; // option leaves that wait for a save, as the fake shows them
    bool options_pending = false;
    bool connected = false;

    std::string question;      // what the program waits for an answer to
    std::string offered_types; // `supported_types` as they were then
    bool answered = false;     // the line has ended
    std::string answer;
    std::size_t echo = 0; // bytes of the answer's echo

    // What the answer must bring about: the calls before the read of the next screen, and what is
    // told first.
    std::vector<std::string> calls;
    std::string told;
    bool any_clear = false; // the call that clears the options comes as well
};

// Before the program is started: what its start must bring about.
void watch_start(SessionWatch& watch);

// The program waits for the first key of an answer; `printed` is all that it printed since the
// first key of the last one.
void watch_question(SessionWatch& watch, const std::string& printed);

// A key is taken (EOF: the end of input), or the wait for it ended without one.
void watch_key(SessionWatch& watch, int key);
void watch_no_key(SessionWatch& watch);

// The program has returned.
void watch_end(SessionWatch& watch);
