#include "doctor/doctor.h"
#include "doctor/interruption.h"

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
        add_note(doctor.report, "Run this program on the console on which the utility will run.",
                 "standard input is not a terminal");
}

void check_icrnl(Doctor& doctor)
{
    termios attributes = {};
    if (tcgetattr(STDIN_FILENO, &attributes) != 0)
        return; // not a terminal
    if ((attributes.c_iflag & ICRNL) != 0)
        add_ok(doctor.report, "the terminal turns the carriage return of Enter into a newline");
    else
        add_wrong(doctor.report, "Run \"stty icrnl\". The utility takes only a newline as Enter.",
                  "the terminal leaves the carriage return of Enter as it is: ICRNL is off");
}

void check_columns(Doctor& doctor)
{
    winsize size = {};
    if (!is_terminal() || ioctl(STDIN_FILENO, TIOCGWINSZ, &size) != 0)
        return;
    if (size.ws_col == 0)
        add_note(doctor.report, "Set your terminal to 80 columns or more.",
                 "the terminal does not report its width");
    else if (size.ws_col < screen_columns)
        add_note(doctor.report, "Set it to 80 columns or more. Otherwise lines wrap.",
                 "the terminal has %u columns", unsigned{size.ws_col});
    else
        add_ok(doctor.report, "the terminal has %u columns", unsigned{size.ws_col});
}

// Waits for a key. Returns false when none comes or a signal ends the wait.
bool key_comes_within(timeval time)
{
    fd_set keyboard;
    FD_ZERO(&keyboard);
    FD_SET(STDIN_FILENO, &keyboard);
    return select(STDIN_FILENO + 1, &keyboard, nullptr, nullptr, &time) == 1;
}

// What one key sends: further bytes follow the first one quickly.
std::string read_key()
{
    std::string bytes;
    timeval time = {30, 0};
    char byte = 0;
    while (bytes.size() < 16 && key_comes_within(time) && read(STDIN_FILENO, &byte, 1) == 1) {
        bytes += byte;
        time = {0, 200000};
    }
    return bytes;
}

// Reads a key in the terminal mode of the utility.
std::string ask_for_backspace()
{
    termios saved = {};
    tcgetattr(STDIN_FILENO, &saved);
    termios raw = saved;
    raw.c_lflag &= ~static_cast<tcflag_t>(ECHO | ICANON | ISIG);
    catch_signals();
    tcsetattr(STDIN_FILENO, TCSANOW, &raw);
    std::fputs("Press the Backspace key: ", stderr); // standard output may be JSON
    const std::string bytes = read_key();
    std::fputc('\n', stderr);
    tcsetattr(STDIN_FILENO, TCSANOW, &saved);
    return bytes;
}

void check_backspace(Doctor& doctor)
{
    if (!doctor.options.keys || !is_terminal())
        return;
    const std::string bytes = ask_for_backspace();
    constexpr char advice[] = "Set the terminal to send Control-H (8) for Backspace.";
    if (bytes == "\b")
        add_ok(doctor.report, "Backspace sends 8 (Control-H)");
    else if (bytes == "\x7f")
        add_note(doctor.report, advice,
                 "Backspace sends 127 (Delete): what it erases stays on the screen");
    else if (bytes.empty())
        add_note(doctor.report, "Run the program again.", "no key was pressed");
    else
        add_wrong(doctor.report, advice, "Backspace sends %s, which erases nothing",
                  quoted(bytes).c_str());
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
