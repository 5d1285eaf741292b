// A fake client library for the unit tests, linked in place of the simulated one. It keeps leaves
// in memory, returns the results and statuses that a test sets, and records every call.
#pragma once

#include "store/client_library.h"

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

struct FakeStore {
    std::map<std::string, toolkit::CElement> leaves;

    // The calls made, as texts, in order. fake_store.cpp shows their forms.
    std::vector<std::string> calls;

    bool reachable = true;

    // The results of the next calls, by name ("set_leaves", "system", ...) and in order. A call
    // without a result here returns 0. Without a connection, leaf calls return -1 and use up no
    // result.
    std::map<std::string, std::vector<int>> results;

    // When set, may change the status of each written leaf. `status` is at first the caller's
    // value.
    std::function<void(const std::string& path, api_status_t& status)> decide_status;

    // The size of the status list that the caller passed to the last `set_leaves`.
    std::size_t statuses_given = 0;

    // When set, runs before every read.
    std::function<void()> before_read;

    // When set, may change the status and the element of each leaf in a successful read.
    std::function<void(const std::string& path, api_status_t& status, toolkit::CElement& element)>
        change_read;

    // When set, may change the length of the arrays that a read fills.
    std::function<void(std::vector<api_status_t>& statuses,
                       std::vector<toolkit::CElement>& elements)>
        resize_read;

    // When set, runs before the store is opened.
    std::function<void()> before_connect;

    // When set, runs before a command or a pause.
    std::function<void()> before_command;
};

// The store that the library's calls use.
extern FakeStore fake_store;

// When set, runs before the store is closed, even at the program's end.
extern void (*before_close)();

// Empties the fake store, opens the connection and discards the recorded calls.
FakeStore& fresh_store();

toolkit::CElement text_element(const std::string& text);
toolkit::CElement number_element(std::int32_t number);
toolkit::CElement boolean_element(bool value);

// Returns an element as the recorded calls show it: true, 12 or "text".
std::string shown(const toolkit::CElement& element);
