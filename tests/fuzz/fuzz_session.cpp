// An input describes a whole session: the meter, the keys that the technician types, and the
// faults.
//
// Each byte is a key, except 0xFE, which begins an event:
//
// clang-format off
//   FE 't'                    the wait times out
//   FE 'i'                    a signal interrupts the wait
//   FE 'e'                    the input ends
//   FE 'c'                    every later wait fails
//   FE 'E'                    the meter loses all leaves (at the start, it has `leaves_at_start`)
//   FE 'L' leaf type size ..  sets leaf number `leaf` to the `size` bytes that follow, or removes
//                             the leaf; `type` is a `LeafKind`
//   FE 'F' call result        the signed result of the next call of this kind; several results
//                             apply to several calls, in order
//   FE 'W' skip status        a signed status for a written leaf, after `skip` other leaves
//   FE 'R' skip status        a signed status for a read leaf, after `skip` other leaves
//   FE 'U', FE 'D'            later attempts to open the store succeed, or fail
//   FE 'A' number             selects the program's arguments; ignored after the first key
//   FE 'T' modes              the terminal's modes (0xFF: no terminal); ignored after the first key
//   FE and any other byte     that byte as a key
// clang-format on
//
// Events before the first key happen before the program starts. After the last byte,
// `leave_from_anywhere` adds keys. These keys must end the session from any question.
#include "app/run.h"
#include "meterinit/option_leaves.h"
#include "store/connection.h"
#include "tests/fuzz/check.h"
#include "tests/fuzz/session_watch.h"
#include "tests/unit/fake_console.h"
#include "tests/unit/fake_store.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iterator>

#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

namespace
{

constexpr std::uint8_t escape = 0xFE;
constexpr const char* version_option = "-v";
constexpr tcflag_t switched_off = ECHO | ICANON | ISIG;

enum class Wait { none, key, time_out, broken };

struct Step {
    Wait wait;
    int key = 0;
    std::function<void()> change = {}; // what a step with Wait::none does
    bool for_ever = false;             // every later wait ends in the same way
};

// Thrown to end a session that no key can end, because its input has ended or every wait fails.
struct SessionCut {
};

// A fault that sets the status of one leaf. The fault lets `skip` other leaves pass first.
struct StatusFault {
    unsigned char skip;
    api_status_t status;
};

struct Session {
    std::vector<Step> steps;
    std::size_t next = 0;
    int waits_left = 12; // waits allowed after a step with `for_ever`

    SessionWatch watch;
    std::vector<StatusFault> read_faults;
    std::vector<StatusFault> write_faults;
    std::size_t seen = 0; // bytes of console output already checked
    bool in_line = false;

    bool started = false;
    std::vector<const char*> arguments = {"meter-settings", "-m"};
    bool has_terminal = true;
    termios modes_before = {};
    termios modes = {};
};

Session* playing = nullptr;

// -- the input --

// The part of an input that was not taken yet. When nothing is left, `take` returns zero.
struct Bytes {
    const std::uint8_t* data;
    std::size_t left;
};

std::uint8_t take(Bytes& bytes)
{
    if (bytes.left == 0)
        return 0;
    --bytes.left;
    return *bytes.data++;
}

std::string take_text(Bytes& bytes)
{
    const std::size_t size = std::min<std::size_t>(take(bytes), bytes.left);
    const std::string text(reinterpret_cast<const char*>(bytes.data), size);
    bytes.data += size;
    bytes.left -= size;
    return text;
}

enum LeafKind { removed, boolean, number, text };

struct Leaf {
    std::string path;
    LeafKind kind;
    const char* value;
};

const std::string port_branch = "/Software/System Settings/Network/Interface/1/";
const std::string supported_types_path = port_branch + "Media Type/Supported Types/Value";

// All leaves that the program reads, with their values at the start.
const Leaf leaves_at_start[] = {
    {"/Software/System Settings/Network/Name Server/1/Value", text, "192.0.2.53"},
    {"/Software/System Settings/Network/Name Server/2/Value", text, "192.0.2.54"},
    {port_branch + "DHCP Enabled/Value", boolean, ""},
    {port_branch + "IP Address/Value", text, "192.0.2.10"},
    {port_branch + "Subnet Mask/Value", text, "255.255.255.0"},
    {port_branch + "Default Gateway/Value", text, "192.0.2.1"},
    {port_branch + "MAC Address/Value", text, "02:00:5E:10:00:01"},
    {port_branch + "Link Enabled/Value", boolean, "1"},
    {supported_types_path, text, "10Base-T Half;10Base-T Full;100Base-TX Half;100Base-TX Full"},
    {port_branch + "Media Type/Current Type/Value", text, "100Base-TX Full"},
    {"/VMIC/SerialNumber/Value", text, "091512345"},
    {"/VMIC/OptionsList/Value", text, "1C-2A-5-WEB-IEC-IB-NTP-ML-PQ1"},
    {"/VMC/PrimCfg/Form/Value", number, "3"},
    {"/VMC/PrimCfg/ClassAmps/Value", number, "2"},
    {"/VMC/PrimCfg/NomFreq/Value", number, "1"},
    {"/VMIC/Enclosure/Value", text, "S"},
};

// Sets or removes a leaf. A boolean becomes true when `value` is not empty.
void set_leaf(const std::string& path, LeafKind kind, const std::string& value)
{
    switch (kind) {
    case removed: fake_store.leaves.erase(path); return;
    case boolean: fake_store.leaves[path] = boolean_element(!value.empty()); return;
    case number: fake_store.leaves[path] = number_element(std::atoi(value.c_str())); return;
    case text: fake_store.leaves[path] = text_element(value);
    }
}

void fill_store()
{
    for (const Leaf& leaf : leaves_at_start)
        set_leaf(leaf.path, leaf.kind, leaf.value);
}

void set_leaf_of_input(std::uint8_t leaf, std::uint8_t kind, const std::string& value)
{
    if (value.find_first_of(std::string("\n\0", 2)) != std::string::npos)
        playing->watch.values_break_lines = true;
    set_leaf(leaves_at_start[leaf % std::size(leaves_at_start)].path, LeafKind(kind % 4), value);
}

void set_arguments(std::uint8_t number)
{
    const std::vector<const char*> choices[] = {
        {"meter-settings", "-m"},           {"meter-settings"},     {"meter-settings", "2"},
        {"meter-settings", version_option}, {"meter-settings", ""}, {"meter-settings", "-v", "-m"},
    };
    if (!playing->started)
        playing->arguments = choices[number % std::size(choices)];
}

void set_terminal(std::uint8_t modes)
{
    if (playing->started)
        return;
    playing->has_terminal = modes != 0xFF;
    playing->modes_before.c_lflag = modes * tcflag_t{0x101}; // the same bits in both low bytes
    playing->modes = playing->modes_before;
}

void add_fault(const char* call, int result)
{
    fake_store.results[call].push_back(result);
    playing->watch.writes_may_fail = true;
}

void add_status_fault(std::uint8_t kind, const StatusFault& fault)
{
    (kind == 'W' ? playing->write_faults : playing->read_faults).push_back(fault);
    playing->watch.writes_may_fail = true;
}

// Counts one leaf. Returns the status that a fault sets for this leaf, or `usual` when none does.
api_status_t next_status(std::vector<StatusFault>& faults, api_status_t usual)
{
    if (faults.empty())
        return usual;
    StatusFault& next = faults.front();
    if (next.skip-- > 0)
        return usual;
    const api_status_t status = next.status;
    faults.erase(faults.begin());
    return status;
}

Step change(const std::function<void()>& what)
{
    return {Wait::none, 0, what};
}

Step change_of_input(std::uint8_t kind, Bytes& bytes)
{
    static const char* const calls[] = {"get_leaves", "set_leaf", "set_leaves", "clear_leaves",
                                        "system"};
    const std::uint8_t first = take(bytes);
    if (kind == 'A')
        return change([=] { set_arguments(first); });
    if (kind == 'T')
        return change([=] { set_terminal(first); });
    if (kind == 'L') {
        const std::uint8_t type = take(bytes);
        const std::string value = take_text(bytes);
        return change([=] { set_leaf_of_input(first, type, value); });
    }
    const auto second = static_cast<std::int8_t>(take(bytes));
    if (kind == 'F')
        return change([=] { add_fault(calls[first % std::size(calls)], second); });
    return change([=] { add_status_fault(kind, {first, second}); });
}

Step take_step(Bytes& bytes)
{
    const std::uint8_t byte = take(bytes);
    if (byte != escape)
        return {Wait::key, byte};
    const std::uint8_t kind = take(bytes);
    switch (kind) {
    case 't': return {Wait::time_out};
    case 'i': return {Wait::broken};
    case 'e': return {Wait::key, EOF, {}, true};
    case 'c': return {Wait::broken, 0, {}, true};
    case 'E': return change([] { fake_store.leaves.clear(); });
    case 'U': return change([] { fake_store.reachable = true; });
    case 'D': return change([] { fake_store.reachable = false; });
    case 'L':
    case 'F':
    case 'W':
    case 'R':
    case 'A':
    case 'T': return change_of_input(kind, bytes);
    default: return {Wait::key, kind};
    }
}

// Adds keys that leave any question, then any submenu, then the main menu.
void leave_from_anywhere(std::vector<Step>& steps)
{
    for (int i = 0; i < 3; ++i) {
        steps.push_back({Wait::time_out});
        for (const char key : {'0', '\n', 'y', '\n'})
            steps.push_back({Wait::key, key});
    }
}

std::vector<Step> steps_of(Bytes bytes)
{
    std::vector<Step> steps;
    while (bytes.left > 0) {
        steps.push_back(take_step(bytes));
        if (steps.back().for_ever)
            return steps;
    }
    leave_from_anywhere(steps);
    return steps;
}

std::string keys_of(const Session& session)
{
    std::string keys;
    for (const Step& step : session.steps) {
        if (step.wait == Wait::key && step.key != EOF)
            keys += static_cast<char>(step.key);
    }
    return keys;
}

// -- playing the input --

// Applies the events before the next wait.
void make_changes(Session& session)
{
    for (; session.next < session.steps.size(); ++session.next) {
        const Step& step = session.steps[session.next];
        if (step.wait != Wait::none)
            return;
        step.change();
    }
}

Step next_wait(Session& session)
{
    make_changes(session);
    check(session.next < session.steps.size(), "the session can be left from everywhere");
    const Step step = session.steps[session.next];
    if (!step.for_ever)
        ++session.next;
    else if (session.waits_left-- == 0)
        throw SessionCut();
    return step;
}

bool same_modes(const termios& left, const termios& right)
{
    return left.c_iflag == right.c_iflag && left.c_oflag == right.c_oflag &&
           left.c_cflag == right.c_cflag && left.c_lflag == right.c_lflag &&
           std::equal(std::begin(left.c_cc), std::end(left.c_cc), std::begin(right.c_cc));
}

void check_wait(const Session& session, int count, const fd_set* readable, const timeval* timeout)
{
    check(count == 1 && readable != nullptr && FD_ISSET(0, readable) && timeout != nullptr &&
              timeout->tv_sec == 30,
          "the program waits 30 seconds for each key");
    termios raw = session.modes_before;
    raw.c_lflag &= ~switched_off;
    check(same_modes(session.modes, session.has_terminal ? raw : session.modes_before),
          "the terminal neither echoes nor edits while the program waits for a key");
}

int end_wait(Session& session)
{
    if (!session.in_line) {
        const std::string printed = console_so_far(session.seen);
        session.seen += printed.size();
        watch_question(session.watch, printed);
        session.in_line = true;
    }
    const Step step = next_wait(session);
    if (step.wait == Wait::key) {
        watch_key(session.watch, step.key);
        session.in_line = !session.watch.answered;
        return 1;
    }
    watch_no_key(session.watch);
    session.in_line = false;
    errno = EINTR;
    return step.wait == Wait::time_out ? 0 : -1;
}

// Resets the global state, because many sessions run in this process. On a meter, each session is a
// process of its own.
void reset_program()
{
    cds_disconnect();
    fake_store = FakeStore();
    begin_option_batch();
    set_options_pending(false);
    toolkit::CElement::_auto_time = false;
}

// Runs `action` and returns what it wrote to standard error.
std::string errors_of(const std::function<void()>& action)
{
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* const usual = stderr;
    stderr = open_memstream(&text, &size);
    action();
    std::fclose(stderr);
    stderr = usual;
    const std::string errors(text, size);
    std::free(text);
    return errors;
}

// Checks a run without a session, because the arguments are wrong or ask for the version.
void check_without_session(const Session& session, int status, const std::string& errors)
{
    const bool is_usage = session.arguments.size() > 2;
    check(fake_store.calls.empty(), "no call without a session");
    check(status == (is_usage ? 1 : 0), "the exit status without a session");
    check(errors.empty() == !is_usage, "standard error has the usage, and is otherwise empty");
}

void play(Session& session)
{
    make_changes(session);
    session.started = true;
    const bool has_session =
        session.arguments.size() < 3 &&
        (session.arguments.size() < 2 || session.arguments[1] != version_option);
    const bool reached = fake_store.reachable;
    int status = -1;
    bool cut = false;
    const auto run_program = [&] {
        try {
            status = run(static_cast<int>(session.arguments.size()), session.arguments.data());
        } catch (const SessionCut&) {
            cut = true;
        }
    };
    const std::string errors = errors_of([&] { console_of(keys_of(session), run_program); });
    if (cut)
        return;
    check(same_modes(session.modes, session.modes_before),
          "the program restores the terminal's modes");
    if (!has_session) {
        check_without_session(session, status, errors);
    } else if (!reached) {
        check_equal(fake_store.calls.front(), "pcd_init",
                    "the only call when the store cannot be reached");
        check(fake_store.calls.size() == 1 && status == 1, "the end of a failed start");
        check_equal(errors, "Error: can't connect to CDS\n", "the message of a failed start");
    } else {
        check(status == 0, "a session exits with status 0");
        check(errors.empty(), "a session writes nothing to standard error", errors);
        check(toolkit::CElement::_auto_time, "elements are stamped");
        watch_end(session.watch);
    }
}

} // namespace

// These functions replace the functions of the C library.

extern "C" int select(int count, fd_set* readable, fd_set*, fd_set*, timeval* timeout)
{
    check(playing != nullptr, "the program waits for keys only in a session");
    check_wait(*playing, count, readable, timeout);
    return end_wait(*playing);
}

extern "C" int tcgetattr(int descriptor, termios* modes) noexcept
{
    if (playing == nullptr || descriptor != STDIN_FILENO || !playing->has_terminal) {
        errno = ENOTTY;
        return -1;
    }
    *modes = playing->modes;
    return 0;
}

extern "C" int tcsetattr(int descriptor, int when, const termios* modes) noexcept
{
    check(playing != nullptr && descriptor == STDIN_FILENO && when == TCSANOW,
          "the terminal's modes are set immediately");
    check(playing->has_terminal, "without a terminal no modes are set");
    playing->modes = *modes;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    reset_program();
    Session session;
    playing = &session;
    set_terminal(0x3F);
    fake_store.decide_status = [&](const std::string&, api_status_t& status) {
        status = next_status(session.write_faults, status_success);
    };
    fake_store.change_read = [&](const std::string&, api_status_t& status, toolkit::CElement&) {
        status = next_status(session.read_faults, status);
    };
    fill_store();
    session.steps = steps_of({data, size});
    play(session);
    playing = nullptr;
    reset_program();
    return 0;
}
