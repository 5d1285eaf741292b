// A client library whose answers a test decides: leaves in memory, results and statuses as told,
// and every call written down. It takes the place of the stand-in in the unit tests.
#pragma once

#include "store/client_library.h"

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

struct FakeStore {
    std::map<std::string, toolkit::CElement> leaves;

    // One text a call, in order; see fake_store.cpp for their forms.
    std::vector<std::string> calls;

    bool reachable = true;

    // Results of the next calls by name ("set_leaves", "system", ...), first one first; 0 when none
    // is left. Without a connection the leaf calls return -1 and take none.
    std::map<std::string, std::vector<int>> results;

    // When set, decides the status of a written leaf, which starts as the caller gave it.
    std::function<void(const std::string& path, api_status_t& status)> decide_status;

    // How many statuses the last write of several leaves was given to fill.
    std::size_t statuses_given = 0;

    // When set, runs at the beginning of every read.
    std::function<void()> before_read;

    // When set, may change the status and the element of each leaf of a read that succeeds.
    std::function<void(const std::string& path, api_status_t& status, toolkit::CElement& element)>
        change_read;

    // When set, may change the length of the arrays that a read fills.
    std::function<void(std::vector<api_status_t>& statuses,
                       std::vector<toolkit::CElement>& elements)>
        resize_read;

    // When set, runs as the store is opened.
    std::function<void()> before_connect;

    // When set, runs as a command or a pause is asked for.
    std::function<void()> before_command;
};

// The store that the library's calls use, empty and open at the start of each `fresh_store`.
extern FakeStore fake_store;

// When set, runs as the store is closed, also at the program's end.
extern void (*before_close)();

// Empties the fake store, connects to it and forgets the calls so far.
FakeStore& fresh_store();

toolkit::CElement text_element(const std::string& text);
toolkit::CElement number_element(std::int32_t number);
toolkit::CElement boolean_element(bool value);

// An element as the fake's calls show it: true, 12 or "text".
std::string shown(const toolkit::CElement& element);
