#include "doctor/doctor.h"

#include "doctor/interruption.h"
#include "store/connection.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

namespace
{

Doctor examined;

// Ends the program after an exception of the client library. The exception would also end the
// utility. The program is built without exception tables, so the stack is not unwound, and this
// function can still call the library.
[[noreturn]] void end_by_exception()
{
    std::set_terminate(std::abort);
    report(wrong, "the client library throws an exception\n"
                  "Correct the library. The utility would end and leave the terminal in raw mode.");
    if (examined.restore != nullptr)
        examined.restore(examined);
    end_report();
    std::exit(status_something_wrong);
}

void run_groups()
{
    check_library(examined);
    if (examined.connected) {
        check_leaves(examined);
        check_writing(examined);
    }
    if (caught_signal() == 0)
        check_console(examined);
    if (caught_signal() == 0)
        check_system();
}

int exit_status()
{
    const int signal = caught_signal();
    std::fflush(stdout);
    if (std::ferror(stdout) != 0)
        std::perror("meter-settings-doctor: the report is incomplete");
    else if (signal == 0 && !examined.connected)
        return status_no_store;
    else if (signal == 0 && !is_anything_wrong())
        return status_ok;
    return signal == 0 ? status_something_wrong : status_interrupted + signal;
}

} // namespace

bool is_missing(const Doctor& doctor, const Leaf& leaf)
{
    return doctor.sees_leaves && leaf.result == 0 && !is_readable(leaf) &&
           leaf.status == doctor.missing_status;
}

int examine(const Options& options)
{
    std::set_terminate(end_by_exception);
    examined.options = options;
    begin_report(options.json);
    run_groups();
    end_report();
    cds_disconnect();
    return exit_status();
}
