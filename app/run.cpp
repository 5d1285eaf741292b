#include "app/run.h"

#include "app/version.h"
#include "network/main_menu.h"
#include "store/connection.h"

#include <cstdio>
#include <cstring>

#include <termios.h>
#include <unistd.h>

namespace
{

void print_usage(const char* program)
{
    std::fprintf(stderr, "Usage: %s [<number_of_interfaces> | -v | -m]\n\n", program);
    std::fputs("\t<number_of_interfaces>: Number of ethernet interfaces (default: 2)\n", stderr);
    std::fputs("\t-v: print version info. to stdout and exit\n", stderr);
    std::fputs("\t-m: view menu for Velmora II Initialisation\n\n", stderr);
}

void print_version(const char* program)
{
    std::printf("%s: version %s\n", program, program_version);
    std::printf("Build date: %s %s\n", __DATE__, __TIME__);
    std::puts("$Revision: 1.3 $\n");
}

// Buffers standard output fully, so that a screen reaches the terminal in one write. Code that
// needs a text on the screen immediately calls `fflush` after printing the text.
void buffer_output()
{
    static char screen[BUFSIZ];
    std::setvbuf(stdout, screen, _IOFBF, sizeof screen);
}

// The terminal modes at the start of the program.
struct SavedTerminal {
    bool known; // false: standard input is not a terminal, so no mode is changed or restored
    termios attributes;
};

// Switches off echo, line editing and signal keys. Keeps every other mode, such as ICRNL, which
// turns the carriage return of Enter into a newline. Returns the modes before the change.
SavedTerminal enter_raw_local_mode()
{
    SavedTerminal saved = {};
    saved.known = tcgetattr(STDIN_FILENO, &saved.attributes) == 0;
    if (saved.known) {
        termios raw = saved.attributes;
        raw.c_lflag &= ~static_cast<tcflag_t>(ECHO | ICANON | ISIG);
        tcsetattr(STDIN_FILENO, TCSANOW, &raw); // the menus also work when this call fails
    }
    return saved;
}

void restore_terminal(const SavedTerminal& saved)
{
    if (saved.known)
        tcsetattr(STDIN_FILENO, TCSANOW, &saved.attributes);
}

void run_session(bool init_menu_requested)
{
    SettingsSession session;
    // Deliberate: the meter has one port, so the argument `number_of_interfaces` is ignored.
    session.interfaces = std::vector<InterfaceSettings>(1);
    session.init_menu_requested = init_menu_requested;
    run_main_menu(session);
}

} // namespace

int run(int argument_count, const char* const* arguments)
{
    buffer_output();
    if (argument_count > 2) {
        print_usage(arguments[0]);
        return 1;
    }
    const char* option = argument_count == 2 ? arguments[1] : "";
    if (std::strcmp(option, "-v") == 0) {
        print_version(arguments[0]);
        return 0;
    }

    if (cds_connect() != 0) {
        std::fputs("Error: can't connect to CDS\n", stderr);
        return 1;
    }
    toolkit::CElement::_auto_time = true;
    const SavedTerminal terminal = enter_raw_local_mode();
    std::setvbuf(stdin, nullptr, _IONBF, 0);

    run_session(std::strcmp(option, "-m") == 0);

    restore_terminal(terminal);
    cds_disconnect();
    return 0;
}
