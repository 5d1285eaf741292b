#include "doctor/doctor.h"

#include "doctor/interruption.h"
#include "store/connection.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

namespace
{

struct Group {
    void (*run)(Doctor& doctor);
    bool needs_store;
};

constexpr Group groups[] = {
    {check_library, false}, {check_leaves, true},  {check_writing, true},
    {check_console, false}, {check_system, false},
};

Doctor* examined = nullptr; // for `end_by_exception`

// An exception ends the examination, as it would end the utility. This program has no exception
// tables, so that no frame can be left; the library can still be called.
[[noreturn]] void end_by_exception()
{
    std::set_terminate(std::abort);
    Doctor& doctor = *examined;
    add_wrong(doctor.report, "the client library throws an exception\n"
                             "The utility would end and leave the terminal in raw mode.");
    if (doctor.restore != nullptr)
        doctor.restore(doctor);
    end_report(doctor.report);
    std::exit(status_something_wrong);
}

void run_check(Doctor& doctor, const Check& check)
{
    doctor.report.check = check.name;
    doctor.report.leaf = "";
    check.run(doctor);
}

bool is_due(const Doctor& doctor, RunWhen when)
{
    if (when == RunWhen::always)
        return true;
    return caught_signal() == 0 && (doctor.connected || when == RunWhen::asked);
}

int exit_status(const Doctor& doctor)
{
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        std::perror("meter-settings-doctor: the report is incomplete");
    else if (caught_signal() == 0 && !doctor.connected)
        return status_no_store;
    else if (caught_signal() == 0 && doctor.report.counts[2] == 0)
        return status_ok;
    return caught_signal() == 0 ? status_something_wrong : status_interrupted + caught_signal();
}

} // namespace

bool is_missing(const Doctor& doctor, const Leaf& leaf)
{
    return doctor.sees_leaves && leaf.result == 0 && !is_readable(leaf) &&
           leaf.status == doctor.missing_status;
}

void run_checks(Doctor& doctor, const char* group, const Check* checks, std::size_t count)
{
    begin_group(doctor.report, group);
    for (std::size_t i = 0; i < count; ++i) {
        if (is_due(doctor, checks[i].when))
            run_check(doctor, checks[i]);
    }
}

int examine(const Options& options)
{
    Doctor doctor;
    // cppcheck-suppress danglingLifetime; used only while this function runs
    examined = &doctor;
    std::set_terminate(end_by_exception);
    doctor.options = options;
    doctor.report.as_json = options.json;
    begin_report(doctor.report);
    for (const Group& group : groups) {
        if (caught_signal() == 0 && (doctor.connected || !group.needs_store))
            group.run(doctor);
    }
    end_report(doctor.report);
    cds_disconnect();
    return exit_status(doctor);
}
