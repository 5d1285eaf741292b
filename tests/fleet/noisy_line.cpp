// Simulates a bad serial line. Runs a program on a pseudo-terminal. Carries the bytes between this
// terminal and standard input and output, and damages the bytes as a plan says. The driver is the
// program that operates this console, for example meter-fleet.
//
//   noisy-line FOLDER    FOLDER/line.json is the plan (line_plan.h)
//
// Each start of noisy-line is one session. A session with the number N has three files:
//
//   FOLDER/sessions/N.jsonl   one JSON object per key and per event, with its time in seconds
//   FOLDER/sessions/N.in      the bytes that the driver typed
//   FOLDER/sessions/N.out     the bytes that the driver received
//
// The same plan, session number and keys give the same damage. noisy-line exits with the program's
// status, or with 1 when the line ended before the program did.

#include "tests/fleet/line_plan.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <nlohmann/json.hpp>
#include <poll.h>
#include <pty.h>
#include <random>
#include <stdexcept>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace
{

constexpr double bits_per_byte = 10; // 8N1: a start bit and a stop bit with each byte
constexpr double forever = 1e9;
constexpr unsigned long longest_screen = 1500; // approximately; in bytes

// A byte on its way. `is_echo`: for output, false if the byte belongs to a screen. `is_foreign`:
// for input, true if the driver did not type the byte.
struct TimedByte {
    double at;               // cppcheck-suppress unusedStructMember ; used through the queue
    char byte;               // cppcheck-suppress unusedStructMember
    bool is_echo = true;     // cppcheck-suppress unusedStructMember
    bool is_foreign = false; // cppcheck-suppress unusedStructMember
};

// One direction of the line. A byte leaves only after the previous byte has left.
struct Channel {
    std::deque<TimedByte> bytes;
    double free_at = 0;
};

// A screen that the driver did not ask for. The screen follows an Enter that the driver did not
// type, or a time-out of the program. The driver cannot notice the screen before the first byte of
// the screen arrives, and cannot take back a key that it has already sent. If this key is Enter,
// the driver takes the unasked screen for the answer to its Enter. The real answer is then an
// unasked screen too.
struct UnaskedScreen {
    bool is_due = false;
    bool was_excused = false; // one early key was allowed since the first byte arrived
    long line_ends = 1;       // Enter keys that no prompt follows yet; the start counts as one
};

struct Line {
    LinePlan plan;
    unsigned session = 0;
    std::string busy_file; // exists while the meter runs a command (meter_time.cpp)
    std::mt19937_64 random;
    int terminal = -1; // the pseudo-terminal of the program
    pid_t program = -1;
    FILE* log = nullptr;
    FILE* typed = nullptr;
    FILE* shown = nullptr;
    Channel to_program;
    Channel to_driver;
    unsigned long keys = 0;
    unsigned long message_in = 0;  // output bytes before the next kernel message; 0: no message
    bool enter_is_foreign = false; // the driver did not type the last Enter
    UnaskedScreen unasked;
    bool screen_is_seen = false; // a byte of the last screen has reached the driver
    double screen_left_at = 0;   // the time when the last byte of a screen left for the driver
    bool open = true;
    std::string current_line;           // the last line of the program's output, before any damage
    std::vector<unsigned> found_so_far; // how often each substitution's text has occurred
    std::string tail;                   // the output so far, to find the texts of the substitutions
};

double now()
{
    static const auto start = std::chrono::steady_clock::now();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void note(const Line& line, const char* event, nlohmann::json details = nlohmann::json::object())
{
    details["t"] = now();
    details["event"] = event;
    std::fprintf(line.log, "%s\n", details.dump().c_str());
    std::fflush(line.log);
}

bool happens(Line& line, double rate)
{
    return rate > 0 && std::uniform_real_distribution<double>(0, 1)(line.random) < rate;
}

unsigned pick(Line& line, std::size_t count)
{
    return static_cast<unsigned>(line.random() % count);
}

void put(const Line& line, Channel& channel, char byte, bool is_echo = true,
         bool is_foreign = false)
{
    const double at = std::max(now(), channel.free_at);
    channel.bytes.push_back({at, byte, is_echo, is_foreign});
    channel.free_at = line.plan.baud > 0 ? at + bits_per_byte / line.plan.baud : at;
}

// --- keys: from the driver to the program

void expect_unasked_screen(Line& line)
{
    line.unasked.is_due = true;
    line.unasked.was_excused = false;
}

bool ends_a_line(char key)
{
    constexpr char end_of_input = 4; // Control-D
    return key == '\r' || key == '\n' || key == end_of_input;
}

void pass_key(Line& line, char key, bool foreign)
{
    if (ends_a_line(key))
        line.enter_is_foreign = foreign;
    put(line, line.to_program, key, true, foreign);
}

void count_line_end(Line& line, const TimedByte& key)
{
    if (!ends_a_line(key.byte))
        return;
    ++line.unasked.line_ends;
    if (key.is_foreign || line.unasked.is_due)
        expect_unasked_screen(line);
}

char flipped(Line& line, char byte, unsigned bits)
{
    return static_cast<char>(static_cast<unsigned char>(byte) ^ (1U << pick(line, bits)));
}

// Returns the bytes of a key that a technician could type, or sometimes one random byte. Digits and
// letters do more harm than random bytes.
std::string foreign_keys(Line& line)
{
    static const std::array<std::string, 24> keys = {
        "0", "1", "2", "3", "4", "5",  "6",    "7",    "8",      "9",      "y",  "n",
        "Y", "~", ".", "-", " ", "\r", "\x08", "\x7f", "\x1b[A", "\x1b[C", "\t", "\x04"};
    if (happens(line, 0.2))
        return std::string(1, static_cast<char>(pick(line, 256)));
    return keys.at(pick(line, keys.size()));
}

void pass_foreign(Line& line)
{
    const std::string keys = foreign_keys(line);
    note(line, "foreign", {{"keys", std::vector<int>(keys.begin(), keys.end())}});
    for (const char key : keys)
        pass_key(line, key, true);
}

void damage_key(Line& line, char key)
{
    switch (pick(line, 5)) {
    case 0: note(line, "key-lost"); break;
    case 1:
        note(line, "key-doubled");
        pass_key(line, key, false);
        pass_key(line, key, true);
        break;
    case 2:
        note(line, "key-flipped");
        pass_key(line, flipped(line, key, 8), true);
        break;
    case 3:
        pass_foreign(line);
        pass_key(line, key, false);
        break;
    default: pass_key(line, key, false); pass_foreign(line);
    }
}

bool begins(const std::string& text, const char* with)
{
    return text.rfind(with, 0) == 0;
}

// Returns true when the current line contains a complete prompt. The output after it is the echo of
// keys.
bool is_asking(const Line& line)
{
    static const std::array<const char*, 7> questions = {"Select an option (",
                                                         "Enter ",
                                                         "Enable DHCP?",
                                                         "Save & apply ",
                                                         "Exit without ",
                                                         "Reset all",
                                                         "Clear Velmora II Options List?"};
    const std::string& text = line.current_line;
    const bool is_question =
        std::any_of(questions.begin(), questions.end(),
                    [&](const char* question) { return begins(text, question); });
    return begins(text, "Select an option ==>  ") ||
           (is_question && text.find(": ") != std::string::npos);
}

// Returns true when all of the last screen has reached the driver. Only echoes of keys may still be
// on the way.
bool screen_is_complete(const Line& line)
{
    const std::deque<TimedByte>& bytes = line.to_driver.bytes;
    return is_asking(line) && std::all_of(bytes.begin(), bytes.end(),
                                          [](const TimedByte& byte) { return byte.is_echo; });
}

// Returns true for Control-Q, which resumes stopped output. The terminal handles Control-Q, so the
// program does not receive it.
bool is_for_the_terminal(const Line& line, char key)
{
    termios attributes{};
    return tcgetattr(line.terminal, &attributes) == 0 && (attributes.c_iflag & IXON) != 0 &&
           static_cast<cc_t>(key) == attributes.c_cc[VSTART];
}

bool is_excused(Line& line)
{
    UnaskedScreen& unasked = line.unasked;
    if (!unasked.is_due || unasked.was_excused)
        return false;
    unasked.was_excused = line.screen_is_seen;
    return true;
}

// Returns true when the driver may have typed before it received the end of the last screen.
bool screen_is_in_transit(const Line& line)
{
    return now() - line.screen_left_at < line.plan.transit;
}

// Returns the reason why the key comes too early, or "" when the driver may type.
const char* too_early(Line& line, char key)
{
    if (is_for_the_terminal(line, key))
        return "";
    if (access(line.busy_file.c_str(), F_OK) == 0)
        return line.enter_is_foreign ? "command that it did not start" : "command";
    if (!screen_is_complete(line))
        return is_excused(line) ? "screen that it did not ask for" : "screen";
    if (line.unasked.line_ends == 0 && !screen_is_in_transit(line))
        line.unasked.is_due = false;
    return "";
}

template <typename Action>
void on_events(const Line& line, const std::vector<LineEvent>& events, const char* name,
               Action action)
{
    for (const LineEvent& event : events) {
        if (event.session == line.session && event.at_key == line.keys) {
            note(line, name, {{"seconds", event.seconds}});
            action(event);
        }
    }
}

void stall(Line& line, double seconds)
{
    const double until = now() + seconds;
    line.to_program.free_at = std::max(line.to_program.free_at, until);
    line.to_driver.free_at = std::max(line.to_driver.free_at, until);
}

void play_events(Line& line)
{
    on_events(line, line.plan.stalls, "stall",
              [&](const LineEvent& event) { stall(line, event.seconds); });
    on_events(line, line.plan.deaths, "death", [&](const LineEvent&) { stall(line, forever); });
    on_events(line, line.plan.ends, "end", [&](const LineEvent&) { line.open = false; });
    on_events(line, line.plan.typists, "typist", [&](const LineEvent& event) {
        for (const char key : event.keys)
            pass_key(line, key, true);
    });
}

void take_key(Line& line, char key)
{
    const char* early = too_early(line, key);
    note(line, "key", {{"byte", static_cast<unsigned char>(key)}, {"early", early}});
    std::fputc(key, line.typed);
    std::fflush(line.typed);
    play_events(line);
    if (line.message_in == 0 && happens(line, line.plan.message_rate))
        line.message_in = 1 + pick(line, longest_screen);
    if (happens(line, line.plan.key_rate))
        damage_key(line, key);
    else
        pass_key(line, key, false);
    ++line.keys;
}

// --- output: from the program to the driver

void begin_line(Line& line)
{
    if (is_asking(line))
        line.screen_is_seen = false;
    line.current_line.clear();
    if (line.unasked.line_ends == 0)
        expect_unasked_screen(line); // the program has timed out
}

void add_to_line(Line& line, char byte)
{
    const bool was_asking = is_asking(line);
    line.current_line += byte;
    if (!was_asking && is_asking(line))
        line.unasked.line_ends = std::max(line.unasked.line_ends - 1, 0L);
}

void follow_output(Line& line, char byte)
{
    if (byte == '\n')
        begin_line(line);
    else if (byte != '\r')
        add_to_line(line, byte);
}

void put_message(Line& line)
{
    const double uptime = 1000 + now();
    std::array<char, 100> text{};
    std::snprintf(text.data(), text.size(), "\r\n[%12.6f] eth0: link is not ready\r\n", uptime);
    note(line, "message");
    for (const char* byte = text.data(); *byte != '\0'; ++byte)
        put(line, line.to_driver, *byte);
}

void damage_output(Line& line, char byte, bool is_echo)
{
    if (happens(line, 0.5)) {
        note(line, "output-flipped");
        put(line, line.to_driver, flipped(line, byte, 8), is_echo);
    } else {
        note(line, "output-lost");
    }
}

void replace_last(Line& line, const Substitution& wanted)
{
    std::deque<TimedByte>& bytes = line.to_driver.bytes;
    if (bytes.size() < wanted.to.size()) {
        note(line, "substitution-missed");
        return;
    }
    note(line, "substituted");
    auto place = bytes.end() - static_cast<std::ptrdiff_t>(wanted.to.size());
    for (const char byte : wanted.to)
        (place++)->byte = byte;
}

void substitute(Line& line, char byte)
{
    if (line.plan.substitutions.empty())
        return;
    line.tail += byte;
    for (std::size_t i = 0; i < line.plan.substitutions.size(); ++i) {
        const Substitution& wanted = line.plan.substitutions[i];
        const std::size_t size = wanted.from.size();
        if (line.tail.size() < size ||
            line.tail.compare(line.tail.size() - size, size, wanted.from) != 0)
            continue;
        if (line.found_so_far[i]++ == wanted.occurrence && wanted.session == line.session)
            replace_last(line, wanted);
    }
}

void take_output(Line& line, char byte)
{
    if (line.message_in == 1)
        put_message(line);
    line.message_in -= line.message_in > 0 ? 1 : 0;
    const bool is_echo = is_asking(line) && byte != '\r' && byte != '\n';
    if (happens(line, line.plan.output_rate))
        damage_output(line, byte, is_echo);
    else
        put(line, line.to_driver, byte, is_echo);
    substitute(line, byte);
    follow_output(line, byte);
}

// --- carrying

// Removes and returns the bytes that may leave by now. Calls `watch` with each of these bytes.
template <typename Watch>
std::string due(Channel& channel, Watch watch)
{
    std::string bytes;
    const double time = now();
    while (!channel.bytes.empty() && channel.bytes.front().at <= time) {
        watch(channel.bytes.front());
        bytes += channel.bytes.front().byte;
        channel.bytes.pop_front();
    }
    return bytes;
}

void write_all(int descriptor, const std::string& bytes)
{
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = write(descriptor, bytes.data() + written, bytes.size() - written);
        if (count < 0 && errno != EINTR)
            return; // the other side has closed, which the next read reports
        written += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
}

void see_screen(Line& line, const TimedByte& byte)
{
    if (byte.is_echo)
        return;
    line.screen_is_seen = true;
    line.screen_left_at = now();
}

void let_go(Line& line)
{
    write_all(line.terminal,
              due(line.to_program, [&](const TimedByte& key) { count_line_end(line, key); }));
    const std::string output =
        due(line.to_driver, [&](const TimedByte& byte) { see_screen(line, byte); });
    std::fwrite(output.data(), 1, output.size(), line.shown);
    std::fflush(line.shown);
    write_all(STDOUT_FILENO, output);
}

int milliseconds_until_next(const Line& line)
{
    double at = forever;
    for (const Channel* channel : {&line.to_program, &line.to_driver})
        if (!channel->bytes.empty())
            at = std::min(at, channel->bytes.front().at);
    constexpr double longest = 1000;
    constexpr double shortest = 1;
    return static_cast<int>(std::clamp((at - now()) * 1000, shortest, longest));
}

// Reads the available bytes and calls `take` with each byte. Returns false at the end of input.
template <typename Take>
bool read_from(int descriptor, Take take)
{
    std::array<char, 4096> bytes{};
    const ssize_t count = read(descriptor, bytes.data(), bytes.size());
    for (ssize_t i = 0; i < count; ++i)
        take(bytes[static_cast<std::size_t>(i)]);
    return count > 0 || (count < 0 && errno == EINTR);
}

// Carries bytes until one side closes. Returns true when the program has ended and all of its
// output has left.
bool carry(Line& line)
{
    bool running = true;
    while (line.open && (running || !line.to_driver.bytes.empty())) {
        std::array<pollfd, 2> sources = {
            {{STDIN_FILENO, POLLIN, 0}, {running ? line.terminal : -1, POLLIN, 0}}};
        if (poll(sources.data(), sources.size(), milliseconds_until_next(line)) < 0)
            continue;
        if (sources[1].revents != 0)
            running = read_from(line.terminal, [&](char byte) { take_output(line, byte); });
        if (sources[0].revents != 0 &&
            !read_from(STDIN_FILENO, [&](char byte) { take_key(line, byte); }))
            return false;
        let_go(line);
    }
    return line.open;
}

// Discards the program's output until nothing arrives for `milliseconds`.
void drop_output(const Line& line, int milliseconds)
{
    pollfd source{line.terminal, POLLIN, 0};
    while (poll(&source, 1, milliseconds) > 0 && read_from(line.terminal, [](char) {})) {
    }
}

// Types the prelude in the first session. The driver then finds the console in the state that the
// prelude has produced.
void play_prelude(Line& line)
{
    if (line.plan.prelude.empty() || line.session > 0)
        return;
    constexpr int after_a_key = 50;
    constexpr int after_a_line = 400;
    drop_output(line, after_a_line);
    for (const char key : line.plan.prelude) {
        write_all(line.terminal, std::string(1, key));
        drop_output(line, key == '\r' ? after_a_line : after_a_key);
    }
    note(line, "prelude");
}

// --- starting and ending

void set_raw()
{
    termios attributes{};
    if (tcgetattr(STDIN_FILENO, &attributes) != 0)
        return; // standard input is not a terminal but a pipe, which needs no change
    cfmakeraw(&attributes);
    tcsetattr(STDIN_FILENO, TCSANOW, &attributes);
}

FILE* session_file(const std::string& folder, unsigned session, const char* suffix)
{
    const std::string path = folder + "/sessions/" + std::to_string(session) + suffix;
    return std::fopen(path.c_str(), "wxe");
}

// Gives the session the first unused number and opens the session's files.
void open_session(Line& line, const std::string& folder)
{
    mkdir((folder + "/sessions").c_str(), 0755);
    constexpr unsigned most = 100000;
    while (line.log == nullptr) {
        line.log = session_file(folder, line.session, ".jsonl");
        if (line.log == nullptr && (errno != EEXIST || ++line.session > most))
            throw std::runtime_error(folder + "/sessions cannot be written");
    }
    line.typed = session_file(folder, line.session, ".in");
    line.shown = session_file(folder, line.session, ".out");
    if (line.typed == nullptr || line.shown == nullptr)
        throw std::runtime_error(folder + "/sessions cannot be written");
}

[[noreturn]] void become(const LinePlan& plan)
{
    std::signal(SIGHUP, SIG_DFL); // nohup ignores the signal, and the tests may run under nohup
    std::vector<char*> words;
    for (const std::string& word : plan.command)
        words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    execvp(words[0], words.data());
    _exit(127);
}

void start_program(Line& line)
{
    line.program = forkpty(&line.terminal, nullptr, nullptr, nullptr);
    if (line.program < 0)
        throw std::runtime_error("no terminal for the program");
    if (line.program == 0)
        become(line.plan);
    fcntl(line.terminal, F_SETFD, FD_CLOEXEC);
}

int run(const std::string& folder)
{
    Line line;
    line.plan = read_line_plan(folder + "/line.json");
    line.busy_file = folder + "/busy";
    unlink(line.busy_file.c_str()); // a program that was killed during a command leaves this file
    line.found_so_far.resize(line.plan.substitutions.size());
    open_session(line, folder);
    std::seed_seq seed{line.plan.seed, line.session};
    line.random.seed(seed);
    set_raw();
    start_program(line);
    play_prelude(line);
    const bool ended = carry(line);
    note(line, ended ? "program-ended" : "line-ended");
    close(line.terminal); // sends SIGHUP to the program
    int status = 0;
    waitpid(line.program, &status, 0);
    return ended && WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

} // namespace

int main(int count, char** words)
{
    if (count != 2) {
        std::cerr << "usage: noisy-line FOLDER\n";
        return 2;
    }
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return run(words[1]);
    } catch (const std::exception& error) {
        std::cerr << "noisy-line: " << error.what() << "\n";
        return 2;
    }
}
