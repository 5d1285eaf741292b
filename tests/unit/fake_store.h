// A fake client library for the unit tests, which replaces the simulated library. It keeps leaves
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

    // The recorded calls in order. Each call is a text, whose form is in fake_store.cpp.
    std::vector<std::string> calls;

    bool reachable = true;

    // The results of the next calls: for each function, such as "set_leaves" or "system", a list in
    // order. When the list is empty, the call returns 0. Without a connection, calls on leaves
    // return -1 and do not take a result from the list.
    std::map<std::string, std::vector<int>> results;

    // When set, may change the status of each written leaf. If it does not, `status` keeps the
    // value from the caller of the library.
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

// The store on which all calls of the fake library work.
extern FakeStore fake_store;

// When set, runs before each closing of the store, even at the program's end.
extern void (*before_close)();

// Empties the fake store, opens the connection and discards the recorded calls. Returns the store.
FakeStore& fresh_store();

toolkit::CElement text_element(const std::string& text);
toolkit::CElement number_element(std::int32_t number);
toolkit::CElement boolean_element(bool value);

// Returns the text of an element in a recorded call, for example true, 12 or "text".
std::string shown(const toolkit::CElement& element);
