/* The least that any program must do to show the main screen: set the terminal, write the same
   bytes in one call, wait for a key. What the utility takes beyond this is its own. */
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

static const char screen[] =
    "\n\n"
    "------------------------------------------------------------------------------\n"
    "---------------------------- Velmora II Settings -----------------------------\n"
    "------------------------------------------------------------------------------\n\n"
    " 1.  Ethernet Port 1 Settings                                                 \n\n"
    " 2.  DNS Server (Primary)            :  192.0.2.53                            \n"
    " 3.  DNS Server (Secondary)          :  192.0.2.54                            \n\n"
    " 4.  Reset all passwords to Factory Defaults                                  \n\n"
    " 0.  Exit                                                                     \n\n"
    "Select an option ==>  ";

int main(void)
{
    struct termios saved, raw;
    struct timeval timeout = {30, 0};
    fd_set keyboard;
    char key;
    const int is_terminal = tcgetattr(STDIN_FILENO, &saved) == 0;

    if (is_terminal) {
        raw = saved;
        raw.c_lflag &= ~(tcflag_t)(ECHO | ICANON | ISIG);
        tcsetattr(STDIN_FILENO, TCSANOW, &raw);
    }
    if (write(STDOUT_FILENO, screen, sizeof screen - 1) < 0)
        return 1;
    FD_ZERO(&keyboard);
    FD_SET(STDIN_FILENO, &keyboard);
    if (select(1, &keyboard, NULL, NULL, &timeout) == 1 && read(STDIN_FILENO, &key, 1) < 0)
        return 1;
    if (is_terminal)
        tcsetattr(STDIN_FILENO, TCSANOW, &saved);
    return 0;
}
