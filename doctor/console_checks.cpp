#include "doctor/doctor.h"
#include "doctor/interruption.h"

#include <csignal>
#include <cstdio>

#include <sys/ioctl.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

namespace
{

constexpr unsigned screen_columns = 80; // the frame's 78, and some lines reach further

bool is_terminal()
{
    return isatty(STDIN_FILENO) == 1;
}

void check_terminal(Doctor& doctor)
{
    if (is_terminal())
        add_ok(doctor.report, "standard input is a terminal");
    else
        add_note(doctor.report, "standard input is not a terminal\n"
                                "Run this program on the console on which the utility will run.");
}

void check_icrnl(Doctor& doctor)
{
    termios attributes = {};
    if (tcgetattr(STDIN_FILENO, &attributes) != 0)
        return; // not a terminal
    if ((attributes.c_iflag & ICRNL) != 0)
        add_ok(doctor.report, "the terminal turns the carriage return of Enter into a newline");
    else
        add_wrong(doctor.report,
                  "the terminal leaves the carriage return of Enter as it is: ICRNL is off\n"
                  "Run \"stty icrnl\". The utility takes only a newline as Enter.");
}

void check_columns(Doctor& doctor)
{
    winsize size = {};
    if (!is_terminal() || ioctl(STDIN_FILENO, TIOCGWINSZ, &size) != 0)
        return;
    if (size.ws_col == 0)
        add_note(doctor.report, "the terminal does not report its width\n"
                                "Set your terminal to 80 columns or more.");
    else if (size.ws_col < screen_columns)
        add_note(doctor.report,
                 "the terminal has %u columns\n"
                 "Set it to 80 columns or more. Otherwise lines wrap.",
                 unsigned{size.ws_col});
    else
        add_ok(doctor.report, "the terminal has %u columns", unsigned{size.ws_col});
}

// Waits for a key, with the signals of `mask` blocked. Returns false when none comes or a signal
// ends the wait.
bool key_comes_within(timespec time, const sigset_t& mask)
{
    fd_set keyboard;
    FD_ZERO(&keyboard);
    FD_SET(STDIN_FILENO, &keyboard);
    return pselect(STDIN_FILENO + 1, &keyboard, nullptr, nullptr, &time, &mask) == 1;
}

struct Keys {
    char bytes[16];
    std::size_t count;
};

// What one key sends: further bytes follow the first one quickly.
Keys read_key(const sigset_t& mask)
{
    Keys keys = {};
    timespec time = {30, 0};
    while (keys.count < sizeof keys.bytes && key_comes_within(time, mask) &&
           read(STDIN_FILENO, keys.bytes + keys.count, 1) == 1) {
        ++keys.count;
        time = {0, 200000000};
    }
    return keys;
}

// Returns the signals that were blocked before.
sigset_t block_signals()
{
    sigset_t all = {};
    sigset_t before = {};
    sigfillset(&all);
    sigprocmask(SIG_BLOCK, &all, &before);
    return before;
}

// Reads a key in the terminal mode of the utility.
Keys ask_for_backspace()
{
    termios saved = {};
    tcgetattr(STDIN_FILENO, &saved);
    termios raw = saved;
    raw.c_lflag &= ~static_cast<tcflag_t>(ECHO | ICANON | ISIG);
    catch_signals();
    const sigset_t mask = block_signals(); // so that one before the wait ends the wait
    tcsetattr(STDIN_FILENO, TCSANOW, &raw);
    std::fputs("Press the Backspace key: ", stderr); // standard output may be JSON
    const Keys keys = read_key(mask);
    sigprocmask(SIG_SETMASK, &mask, nullptr);
    std::fputc('\n', stderr);
    tcsetattr(STDIN_FILENO, TCSANOW, &saved);
    return keys;
}

void check_backspace(Doctor& doctor)
{
    if (!doctor.options.keys || !is_terminal())
        return;
    const Keys keys = ask_for_backspace();
    if (keys.count == 0)
        add_note(doctor.report, "no key was pressed\n"
                                "Run the program again.");
    else if (keys.count == 1 && keys.bytes[0] == '\b')
        add_ok(doctor.report, "Backspace sends 8 (Control-H)");
    else if (keys.count == 1 && keys.bytes[0] == '\x7f')
        add_note(doctor.report, "Backspace sends 127 (Delete): what it erases stays on the screen\n"
                                "Set the terminal to send Control-H (8) for Backspace.");
    else
        add_wrong(doctor.report,
                  "Backspace sends %s, which erases nothing\n"
                  "Set the terminal to send Control-H (8) for Backspace.",
                  quoted({keys.bytes, keys.count}).text);
}

constexpr Check console_checks[] = {
    {"terminal", check_terminal, RunWhen::asked},
    {"icrnl", check_icrnl, RunWhen::asked},
    {"columns", check_columns, RunWhen::asked},
    {"backspace", check_backspace, RunWhen::asked},
};

} // namespace

void check_console(Doctor& doctor)
{
    run_checks(doctor, "Console", console_checks);
}
