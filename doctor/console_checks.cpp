#include "doctor/doctor.h"
#include "doctor/interruption.h"

#include <csignal>
#include <cstdio>

#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace
{

constexpr unsigned screen_columns = 80; // the frame of a screen has 78, but some lines are longer

void check_terminal(bool is_terminal)
{
    begin_check("terminal");
    if (is_terminal)
        report(ok, "standard input is a terminal");
    else
        report(note, "standard input is not a terminal\n"
                     "Run this program on the console on which the utility will run.");
}

void check_icrnl()
{
    begin_check("icrnl");
    termios attributes = {};
    tcgetattr(STDIN_FILENO, &attributes);
    if ((attributes.c_iflag & ICRNL) != 0)
        report(ok, "the terminal turns the carriage return of Enter into a newline");
    else
        report(wrong, "the terminal leaves the carriage return of Enter as it is: ICRNL is off\n"
                      "Run \"stty icrnl\". The utility takes only a newline as Enter.");
}

void check_columns()
{
    begin_check("columns");
    winsize size = {};
    ioctl(STDIN_FILENO, TIOCGWINSZ, &size);
    if (size.ws_col == 0)
        report(note, "the terminal does not report its width\n"
                     "Set your terminal to 80 columns or more.");
    else if (size.ws_col < screen_columns)
        report(note,
               "the terminal has %u columns\n"
               "Set it to 80 columns or more. Otherwise lines wrap.",
               unsigned{size.ws_col});
    else
        report(ok, "the terminal has %u columns", unsigned{size.ws_col});
}

struct Keys {
    char bytes[16];
    std::size_t count;
};

// Waits up to 30 seconds for a key and returns all bytes that the key sends. A gap of 0.2 seconds
// after a byte ends the key. A signal that `mask` does not block ends the wait.
Keys read_key(const sigset_t& mask)
{
    Keys keys = {};
    pollfd keyboard = {STDIN_FILENO, POLLIN, 0};
    timespec time = {30, 0};
    while (keys.count < sizeof keys.bytes && ppoll(&keyboard, 1, &time, &mask) == 1 &&
           read(STDIN_FILENO, keys.bytes + keys.count, 1) == 1) {
        ++keys.count;
        time = {0, 200000000};
    }
    return keys;
}

// Sets the terminal mode of the utility, reads a key, and restores the terminal.
Keys read_key_in_raw_mode(const sigset_t& mask)
{
    termios attributes = {};
    tcgetattr(STDIN_FILENO, &attributes);
    const tcflag_t saved = attributes.c_lflag;
    attributes.c_lflag &= ~static_cast<tcflag_t>(ECHO | ICANON | ISIG);
    tcsetattr(STDIN_FILENO, TCSANOW, &attributes);
    std::fprintf(stderr, "Press the Backspace key: "); // stderr, because stdout may be JSON
    const Keys keys = read_key(mask);
    std::fprintf(stderr, "\n");
    attributes.c_lflag = saved;
    tcsetattr(STDIN_FILENO, TCSANOW, &attributes);
    return keys;
}

// Asks for the Backspace key. Blocks signals except during the wait for the key, so a caught signal
// ends only the wait, and the terminal is always restored.
Keys ask_for_backspace()
{
    sigset_t all = {};
    sigset_t before = {};
    sigfillset(&all);
    sigprocmask(SIG_BLOCK, &all, &before);
    catch_signals();
    const Keys keys = read_key_in_raw_mode(before);
    sigprocmask(SIG_SETMASK, &before, nullptr);
    return keys;
}

void check_backspace()
{
    begin_check("backspace");
    const Keys keys = ask_for_backspace();
    if (keys.count == 0)
        report(note, "no key was pressed\n"
                     "Run the program again.");
    else if (keys.count == 1 && keys.bytes[0] == '\b')
        report(ok, "Backspace sends 8 (Control-H)");
    else if (keys.count == 1 && keys.bytes[0] == '\x7f')
        report(note, "Backspace sends 127 (Delete): erased characters stay on the screen\n"
                     "Set the terminal to send Control-H (8) for Backspace.");
    else
        report(wrong,
               "Backspace sends %s, which erases nothing\n"
               "Set the terminal to send Control-H (8) for Backspace.",
               quoted({keys.bytes, keys.count}).text);
}

} // namespace

void check_console(const Doctor& doctor)
{
    begin_group("Console");
    const bool is_terminal = isatty(STDIN_FILENO) == 1;
    check_terminal(is_terminal);
    if (!is_terminal)
        return;
    check_icrnl();
    check_columns();
    if (doctor.options.keys)
        check_backspace();
}
