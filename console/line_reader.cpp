#include "console/line_reader.h"

#include <cctype>
#include <cstdio>

#include <sys/select.h>
#include <unistd.h>

namespace
{

constexpr int ctrl_d = 4;
constexpr int backspace = 8;
constexpr int delete_key = 127;

// Waits until standard input is readable. Returns 1 when it is readable, 0 on time-out, and -1 when
// the wait failed.
int wait_for_key(timeval& timeout)
{
    fd_set keyboard;
    FD_ZERO(&keyboard);
    FD_SET(STDIN_FILENO, &keyboard);
    return select(STDIN_FILENO + 1, &keyboard, nullptr, nullptr, &timeout);
}

// Processes one key of a line. A printable key is echoed and added to `text`. An erasing key is
// echoed and removes the last character. Returns true when the key ends the line.
bool take_key(int key, std::string& text)
{
    switch (key) {
    case '\n':
    case EOF: // deliberate: the end of input is echoed as the byte 0xFF
    case ctrl_d: std::fputc(key, stdout); return true;
    case backspace:
    case delete_key: // deliberate: echoes three bytes even when the line is empty
        std::fputc(key, stdout);
        std::fputc(' ', stdout);
        std::fputc(key, stdout);
        if (!text.empty())
            text.pop_back();
        return false;
    default:
        if (std::isprint(key)) {
            std::fputc(key, stdout);
            text += static_cast<char>(key);
        }
        return false;
    }
}

} // namespace

int read_line_timed(std::string& text, unsigned seconds)
{
    text.clear();
    timeval timeout = {};
    for (;;) {
        // `select` leaves the rest of the time-out in `timeout`. Deliberate: only the seconds are
        // reset, so the remaining microseconds lengthen the next wait.
        timeout.tv_sec = static_cast<time_t>(seconds);
        const int ready = wait_for_key(timeout);
        if (ready < 1) {
            std::fputc('\n', stdout);
            std::fflush(stdout);
            return ready;
        }
        const bool ended = take_key(std::fgetc(stdin), text);
        std::fflush(stdout);
        if (ended)
            return ready;
    }
}

int prompt_line(const std::string& prompt, std::string& text)
{
    std::printf("%s: ", prompt.c_str());
    std::fflush(stdout);
    return read_line_timed(text, idle_seconds);
}

void report_no_answer(int result, const char* rejection)
{
    if (result == answer_timed_out)
        std::puts("Timed out.");
    else if (result == answer_rejected && rejection != nullptr)
        std::puts(rejection);
}

int prompt_yes_no(const std::string& prompt, EditableFlag& flag)
{
    std::string answer;
    const int result = prompt_line(prompt, answer);
    if (result != answer_taken)
        return result;
    if (answer.empty())
        return answer_rejected;
    flag = {std::tolower(static_cast<unsigned char>(answer[0])) == 'y', true};
    return answer_taken;
}

bool confirmed(const std::string& question)
{
    EditableFlag answer;
    return prompt_yes_no(question, answer) == answer_taken && answer.value;
}
