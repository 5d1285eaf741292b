// What the tests of the simulated meter share.
#pragma once

#include <cds++.h>

#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

// A meter of a test's own: a new folder with a store file, named by METER_SIM_DIR. The library
// begins afresh with it, as in a new process, without a trace. The folder goes with the record.
struct TestMeter {
    std::string folder;

    explicit TestMeter(const std::string& store_text);
    TestMeter(const TestMeter&) = delete;
    TestMeter& operator=(const TestMeter&) = delete;
    ~TestMeter();

    std::string path(const std::string& name) const;
    void write(const std::string& name, const std::string& text) const;
    std::string read(const std::string& name) const;
    bool has(const std::string& name) const;

    // From now on calls are traced, to the file "trace".
    void begin_trace() const;
};

// An open store; closed with the record.
struct TestStore : toolkit::CCds {
    TestStore();
    TestStore(const TestStore&) = delete;
    TestStore& operator=(const TestStore&) = delete;
    ~TestStore();
};

toolkit::CElement boolean(bool value);
toolkit::CElement integer(std::int32_t value);
toolkit::CElement text(const std::string& value);

// As one word: "true", "12" and "'text'", so that the type is seen.
std::string shown(const toolkit::CElement& element);

// What one call came to, everything that it fills included: "0: 1 'RK', 2 ''" is the result,
// then each leaf's status and, for reads, its element.
std::string get(toolkit::CCds& store, const std::vector<std::string>& paths);
std::string set(toolkit::CCds& store, const std::string& path, const toolkit::CElement& value);
std::string set_all(toolkit::CCds& store, const std::vector<std::string>& paths,
                    const std::vector<toolkit::CElement>& values, const std::string& source = "");
std::string clear(toolkit::CCds& store, const std::vector<std::string>& paths);

// What `act` writes to standard error.
std::string standard_error_of(const std::function<void()>& act);

// Runs `act` in a process of its own; returns what it returns, or -1 when it did not end by itself.
int exit_status_of(const std::function<int()>& act);

// Starts `act` in a process of its own; the test waits for the process.
int start_process(const std::function<int()>& act);
int wait_for_process(int process);

// Long enough for a file's times to tell any later change.
void let_file_settle();
