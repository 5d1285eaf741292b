// Helpers for the tests of the simulated meter.
#pragma once

#include <cds++.h>

#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

// A meter for one test, in a new directory with a store file. The constructor sets METER_SIM_DIR to
// the directory, resets the library as in a new process, and switches the trace off. The destructor
// removes the directory.
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

    // Writes all later calls to the trace file "trace" in the meter's directory.
    void begin_trace() const;
};

// An open store. The destructor closes it.
struct TestStore : toolkit::CCds {
    TestStore();
    TestStore(const TestStore&) = delete;
    TestStore& operator=(const TestStore&) = delete;
    ~TestStore();
};

toolkit::CElement boolean(bool value);
toolkit::CElement integer(std::int32_t value);
toolkit::CElement text(const std::string& value);

// Returns the value in a form that shows its type: "true", "12" or "'text'".
std::string shown(const toolkit::CElement& element);

// Each function makes one call and returns a text such as "0: 1 'RK', 2 ''". The text contains the
// result of the call, and the status of each leaf. For reads, the element of the leaf follows its
// status.
std::string get(toolkit::CCds& store, const std::vector<std::string>& paths);
std::string set(toolkit::CCds& store, const std::string& path, const toolkit::CElement& value);
std::string set_all(toolkit::CCds& store, const std::vector<std::string>& paths,
                    const std::vector<toolkit::CElement>& values, const std::string& source = "");
std::string clear(toolkit::CCds& store, const std::vector<std::string>& paths);

// Returns the text that `act` writes to standard error.
std::string standard_error_of(const std::function<void()>& act);

// Runs `act` in a separate process. Returns the result of `act`, or -1 when the process did not
// exit by itself.
int exit_status_of(const std::function<int()>& act);

// `start_process` runs `act` in a separate process and returns the process id. The test must pass
// this id to `wait_for_process`.
int start_process(const std::function<int()>& act);
int wait_for_process(int process);

// Pauses long enough that any later change of a file is certain to change the file's times.
void let_file_settle();
