#include "console/line_reader.h"

#include "tests/unit/fake_console.h"

#include <doctest/doctest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <sys/time.h>
#include <termios.h>
#include <unistd.h>

namespace
{

struct Line {
    int result;
    std::string text;
    std::string echo;
};

Line line_of(const std::string& keys)
{
    Line line = {77, "not emptied", ""};
    line.echo = console_of(keys, [&] { line.result = read_line_timed(line.text, 30); });
    return line;
}

// A keyboard whose input does not end: a pipe or a pseudo-terminal.
struct OpenKeyboard {
    int reader = -1;
    int keys = -1; // the test writes keys to this end

    ~OpenKeyboard()
    {
        close(reader);
        close(keys);
    }
};

void open_pipe(OpenKeyboard& keyboard)
{
    int ends[2];
    if (pipe(ends) != 0)
        std::abort();
    keyboard.reader = ends[0];
    keyboard.keys = ends[1];
}

// Opens a terminal with echo and line editing off and all other modes at their defaults.
void open_terminal(OpenKeyboard& keyboard)
{
    keyboard.keys = posix_openpt(O_RDWR | O_NOCTTY);
    if (keyboard.keys < 0 || grantpt(keyboard.keys) != 0 || unlockpt(keyboard.keys) != 0)
        std::abort();
    keyboard.reader = open(ptsname(keyboard.keys), O_RDWR | O_NOCTTY);
    termios raw;
    if (tcgetattr(keyboard.reader, &raw) != 0)
        std::abort();
    raw.c_lflag &= ~static_cast<tcflag_t>(ECHO | ICANON | ISIG);
    tcsetattr(keyboard.reader, TCSANOW, &raw);
}

// Types `keys` and reads a line. The wait for each key times out after one second.
Line line_on(const OpenKeyboard& keyboard, const std::string& keys)
{
    REQUIRE(write(keyboard.keys, keys.data(), keys.size()) == static_cast<ssize_t>(keys.size()));
    Line line = {77, "not emptied", ""};
    line.echo = console_on(keyboard.reader, [&] { line.result = read_line_timed(line.text, 1); });
    return line;
}

int answer_to(const std::string& keys, EditableFlag& flag)
{
    int result = 77;
    console_of(keys, [&] { result = prompt_yes_no("Sure? (y/n)", flag); });
    return result;
}

} // namespace

TEST_CASE("a line is read as typed, and echoed with its newline")
{
    const Line line = line_of("eth 0~!\nrest");
    CHECK(line.result == answer_taken);
    CHECK(line.text == "eth 0~!");
    CHECK(line.echo == "eth 0~!\n");
}

TEST_CASE("Ctrl-D ends a line and is echoed as it is")
{
    const Line line = line_of("ab\x04");
    CHECK(line.result == answer_taken);
    CHECK(line.text == "ab");
    CHECK(line.echo == "ab\x04");
}

TEST_CASE("the end of input ends a line and is echoed as the byte 0xFF")
{
    const Line line = line_of("ab");
    CHECK(line.result == answer_taken);
    CHECK(line.text == "ab");
    CHECK(line.echo == "ab\xff");
}

TEST_CASE("backspace and delete erase the last character on screen and in the text")
{
    const Line line = line_of("abc\b\x7f"
                              "d\n");
    CHECK(line.text == "ad");
    CHECK(line.echo == "abc\b \b\x7f \x7f"
                       "d\n");
}

TEST_CASE("backspace on an empty line is echoed and changes nothing")
{
    const Line line = line_of("\b\x7f\n");
    CHECK(line.result == answer_taken);
    CHECK(line.text == "");
    CHECK(line.echo == "\b \b\x7f \x7f\n");
}

TEST_CASE("every byte that is not printable is dropped without an echo")
{
    std::string keys;
    std::string printable;
    for (int byte = 1; byte < 256; ++byte) {
        const bool is_key = byte == '\n' || byte == 4 || byte == '\b' || byte == 127;
        if (!is_key)
            keys += static_cast<char>(byte);
        if (byte >= 32 && byte < 127)
            printable += static_cast<char>(byte);
    }
    keys += '\0';
    const Line line = line_of(keys + "\n");
    CHECK(line.text == printable);
    CHECK(line.echo == printable + "\n");
}

TEST_CASE("only the printable tail of an escape sequence becomes text")
{
    CHECK(line_of("\x1b[A\n").text == "[A");
}

TEST_CASE("a carriage return is no line end")
{
    const Line line = line_of("a\rb\n");
    CHECK(line.text == "ab");
    CHECK(line.echo == "ab\n");
}

TEST_CASE("a line has no length limit")
{
    const std::string long_text(100000, 'x');
    CHECK(line_of(long_text + "\n").text == long_text);
}

TEST_CASE("a time-out ends the line on the screen and keeps what was typed")
{
    OpenKeyboard keyboard;
    open_pipe(keyboard);
    const Line line = line_on(keyboard, "ab");
    CHECK(line.result == answer_timed_out);
    CHECK(line.text == "ab");
    CHECK(line.echo == "ab\n");
}

TEST_CASE("the newline of a time-out is on the screen immediately")
{
    OpenKeyboard keyboard;
    open_pipe(keyboard);
    std::string text;
    std::string at_return;
    console_on(keyboard.reader, [&] {
        read_line_timed(text, 0);
        at_return = console_so_far();
    });
    CHECK(at_return == "\n");
}

TEST_CASE("only one line is read from an open pipe")
{
    OpenKeyboard keyboard;
    open_pipe(keyboard);
    CHECK(line_on(keyboard, "ab\ncd\n").text == "ab");
    CHECK(line_on(keyboard, "").text == "cd");
}

TEST_CASE(
    "on a terminal Enter ends a line although it sends a carriage return, and Ctrl-C is dropped")
{
    OpenKeyboard keyboard;
    open_terminal(keyboard);
    const Line line = line_on(keyboard, "a\x03\x1a"
                                        "b\r");
    CHECK(line.result == answer_taken);
    CHECK(line.text == "ab");
    CHECK(line.echo == "ab\n");
}

TEST_CASE("a terminal without a key times out")
{
    OpenKeyboard keyboard;
    open_terminal(keyboard);
    const Line line = line_on(keyboard, "x");
    CHECK(line.result == answer_timed_out);
    CHECK(line.text == "x");
}

TEST_CASE("a wait that a signal interrupts is not retried")
{
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    struct sigaction previous;
    sigaction(SIGALRM, &action, &previous);

    OpenKeyboard keyboard;
    open_pipe(keyboard);
    std::string text;
    int result = 77;
    const std::string echo = console_on(keyboard.reader, [&] {
        // The timer repeats, because its first signal may come before the wait.
        const itimerval soon = {{0, 20000}, {0, 20000}};
        const itimerval never = {};
        setitimer(ITIMER_REAL, &soon, nullptr);
        result = read_line_timed(text, 10);
        setitimer(ITIMER_REAL, &never, nullptr);
    });
    sigaction(SIGALRM, &previous, nullptr);
    CHECK(result == answer_rejected);
    CHECK(echo == "\n");
}

TEST_CASE("the wait fails on a closed input")
{
    std::string text = "old";
    int result = 77;
    const std::string echo = console_of("", [&] {
        close(STDIN_FILENO);
        result = read_line_timed(text, 30);
    });
    CHECK(result == answer_rejected);
    CHECK(text == "");
    CHECK(echo == "\n");
}

TEST_CASE("a prompt is followed by a colon and a space")
{
    std::string text;
    int result = 77;
    const std::string shown = console_of("x\n", [&] { result = prompt_line("Enter", text); });
    CHECK(result == answer_taken);
    CHECK(text == "x");
    CHECK(shown == "Enter: x\n");
}

TEST_CASE("a prompt is shown as it is, whatever it holds")
{
    std::string text;
    CHECK(console_of("\n", [&] { prompt_line("50%d %n%%", text); }) == "50%d %n%%: \n");
}

TEST_CASE("an answer is yes when it begins with y, and no otherwise")
{
    for (const char* yes : {"y\n", "Y\n", "Yes\n", "yx\n"}) {
        EditableFlag flag = {false, false};
        CHECK(answer_to(yes, flag) == answer_taken);
        CHECK(flag.value);
        CHECK(flag.changed);
    }
    for (const char* no : {"n\n", "nope\n", "q\n", "1\n", " y\n"}) {
        EditableFlag flag = {true, false};
        CHECK(answer_to(no, flag) == answer_taken);
        CHECK_FALSE(flag.value);
        CHECK(flag.changed);
    }
}

TEST_CASE("an empty answer leaves the flag unchanged")
{
    EditableFlag flag = {true, false};
    CHECK(answer_to("\n", flag) == answer_rejected);
    CHECK(flag.value);
    CHECK_FALSE(flag.changed);
}

TEST_CASE("a failed wait leaves the flag unchanged")
{
    EditableFlag flag = {true, false};
    int result = 77;
    console_of("", [&] {
        close(STDIN_FILENO);
        result = prompt_yes_no("Sure? (y/n)", flag);
    });
    CHECK(result == answer_rejected);
    CHECK(flag.value);
    CHECK_FALSE(flag.changed);
}

TEST_CASE("only a clear yes confirms")
{
    const auto confirms = [](const std::string& keys) {
        bool result = false;
        console_of(keys, [&] { result = confirmed("Sure? (y/n)"); });
        return result;
    };
    CHECK(confirms("y\n"));
    CHECK_FALSE(confirms("n\n"));
    CHECK_FALSE(confirms("\n"));
    CHECK_FALSE(confirms(""));
}

TEST_CASE("the seconds of the time-out are reset for each key, the microseconds are not")
{
    std::string text;
    int result = 77;
    std::vector<WaitForKey> waits;
    const std::string echo = console_of(
        "ab",
        [&] {
            result = read_line_timed(text, 12);
            waits = waits_so_far();
        },
        "kkt");
    CHECK(result == answer_timed_out);
    CHECK(text == "ab");
    CHECK(echo == "ab\n");
    REQUIRE(waits.size() == 3);
    CHECK(waits[0].time.tv_sec == 12);
    CHECK(waits[0].time.tv_usec == 0);
    CHECK(waits[1].time.tv_sec == 12);
    CHECK(waits[1].time.tv_usec == 500000); // deliberate: the program sets only tv_sec again
    CHECK(waits[2].time.tv_sec == 12);
    CHECK(waits[2].time.tv_usec == 500000);
}

TEST_CASE("a prompt allows 30 seconds without a key")
{
    std::string text;
    int result = 77;
    timeval wait = {};
    const std::string shown = console_of(
        "",
        [&] {
            result = prompt_line("Enter", text);
            wait = waits_so_far().at(0).time;
        },
        "t");
    CHECK(result == answer_timed_out);
    CHECK(shown == "Enter: \n");
    CHECK(wait.tv_sec == 30);
    CHECK(wait.tv_usec == 0);
}

TEST_CASE("a prompt and each echo are on the screen before the next wait")
{
    OpenKeyboard keyboard;
    open_pipe(keyboard);
    REQUIRE(write(keyboard.keys, "a\b\n", 3) == 3);
    std::string text;
    std::string before_the_end;
    console_on(keyboard.reader, [&] {
        std::fputs("Enter: ", stdout);
        read_line_timed(text, 1);
        before_the_end = console_so_far();
    });
    CHECK(before_the_end == "Enter: a\b \b\n");
}

TEST_CASE("a question that times out leaves the flag unchanged and confirms nothing")
{
    EditableFlag flag = {true, false};
    int result = 77;
    console_of(
        "", [&] { result = prompt_yes_no("Sure? (y/n)", flag); }, "t");
    CHECK(result == answer_timed_out);
    CHECK(flag.value);
    CHECK_FALSE(flag.changed);

    bool yes = true;
    console_of(
        "y", [&] { yes = confirmed("Sure? (y/n)"); }, "kt");
    CHECK_FALSE(yes);
}

TEST_CASE("a time-out and a rejection are reported, an answer is not")
{
    const auto report_of = [](int result, const char* rejection) {
        return console_of("", [&] { report_no_answer(result, rejection); });
    };
    CHECK(report_of(answer_timed_out, "Error: no") == "Timed out.\n");
    CHECK(report_of(answer_timed_out, nullptr) == "Timed out.\n");
    CHECK(report_of(answer_rejected, "Error: no") == "Error: no\n");
    CHECK(report_of(answer_rejected, nullptr) == "");
    CHECK(report_of(answer_taken, "Error: no") == "");
}

namespace
{

// Sets all bits in the part of the stack that the next function uses for its variables, so that the
// test finds an uninitialised set of descriptors.
void dirty_the_stack()
{
    volatile unsigned char bytes[4096];
    for (volatile unsigned char& byte : bytes)
        byte = 0xFF;
}

} // namespace

TEST_CASE("the wait for a key is for standard input only")
{
    std::string text;
    std::vector<WaitForKey> waits;
    console_of(
        "a",
        [&] {
            dirty_the_stack();
            read_line_timed(text, 30);
            waits = waits_so_far();
        },
        "kt");
    REQUIRE(waits.size() == 2);
    CHECK(waits[0].for_keyboard_alone);
    CHECK(waits[1].for_keyboard_alone);
}
