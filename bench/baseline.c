/* The baseline for a menu program. It sets the terminal's modes, writes a screen in one call, waits
   for a key, reads the key and echoes it.

   baseline FIRST NEXT: shows FIRST, and shows NEXT after each answer. The answer 0 ends the
   program. */
#include <string.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

int main(int count, char** words)
{
    struct termios saved, raw;
    char key = 0;
    char line = 0; /* the answer so far: 0 if empty, its key if single, else a space */
    const char* output = words[1];
    size_t size;

    if (count != 3 || tcgetattr(STDIN_FILENO, &saved) != 0)
        return 2;
    raw = saved;
    raw.c_lflag &= ~(tcflag_t)(ECHO | ICANON | ISIG);
    tcsetattr(STDIN_FILENO, TCSANOW, &raw);
    size = strlen(output);
    for (;;) {
        struct timeval timeout = {30, 0};
        fd_set keyboard;
        if (write(STDOUT_FILENO, output, size) < 0)
            return 1;
        FD_ZERO(&keyboard);
        FD_SET(STDIN_FILENO, &keyboard);
        if (select(1, &keyboard, NULL, NULL, &timeout) != 1 || read(STDIN_FILENO, &key, 1) != 1)
            return 1;
        if (key == '\n' && line == '0')
            break;
        if (key == '\n') {
            line = 0;
            output = words[2];
            size = strlen(output);
        } else {
            line = line == 0 ? key : ' ';
            output = &key;
            size = 1;
        }
    }
    tcsetattr(STDIN_FILENO, TCSANOW, &saved);
    return 0;
}
