#include "app/run.h"

#include "tests/unit/fake_console.h"
#include "tests/unit/fake_store.h"

#include <doctest/doctest.h>

#include <cstdio>
#include <stdexcept>

#include "store/connection.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace
{

// A pseudo-terminal. The program reads from the slave, and the test writes keys to the master.
struct Terminal {
    int master = posix_openpt(O_RDWR | O_NOCTTY);
    int slave = -1;

    Terminal()
    {
        REQUIRE(grantpt(master) == 0);
        REQUIRE(unlockpt(master) == 0);
        slave = open(ptsname(master), O_RDWR | O_NOCTTY);
        REQUIRE(slave >= 0);
    }
    ~Terminal()
    {
        close(slave);
        close(master);
    }
    tcflag_t local_modes() const
    {
        termios attributes;
        REQUIRE(tcgetattr(slave, &attributes) == 0);
        return attributes.c_lflag;
    }
};

constexpr tcflag_t switched_off = ECHO | ICANON | ISIG;

struct Ran {
    int status = 77;
    std::string output;
    std::string errors;
};

// Runs the program under the name "prog", with these arguments and with `keys` as input.
Ran ran(const std::vector<const char*>& arguments, const std::string& keys = "0\n")
{
    std::vector<const char*> words = {"prog"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    Ran result;
    std::FILE* errors = std::tmpfile();
    const int kept = dup(STDERR_FILENO);
    dup2(fileno(errors), STDERR_FILENO);
    result.output = console_of(
        keys, [&] { result.status = run(static_cast<int>(words.size()), words.data()); });
    dup2(kept, STDERR_FILENO);
    close(kept);
    std::rewind(errors);
    for (int character; (character = std::fgetc(errors)) != EOF;)
        result.errors += static_cast<char>(character);
    std::fclose(errors);
    return result;
}

// Closes the fake store and discards the recorded calls. Returns the store.
FakeStore& closed_store()
{
    FakeStore& store = fresh_store();
    cds_disconnect();
    store.calls.clear();
    return store;
}

const std::string init_item = "Velmora II Initialization (Serial and Options List)";

} // namespace

TEST_CASE("more than one argument prints the usage on standard error and opens no store")
{
    closed_store();
    const Ran answer = ran({"-v", "-m"});
    CHECK(answer.status == 1);
    CHECK(answer.output == "");
    CHECK(answer.errors == "Usage: prog [<number_of_interfaces> | -v | -m]\n\n"
                           "\t<number_of_interfaces>: Number of ethernet interfaces (default: 2)\n"
                           "\t-v: print version info. to stdout and exit\n"
                           "\t-m: view menu for Velmora II Initialisation\n\n");
    CHECK(fake_store.calls.empty());
}

TEST_CASE("the version is printed without a store")
{
    closed_store().reachable = false;
    const Ran answer = ran({"-v"});
    CHECK(answer.status == 0);
    CHECK(answer.errors == "");
    const std::string first = "prog: version 0.0.1\nBuild date: ";
    const std::string last = "\n$Revision: 1.3 $\n\n";
    REQUIRE(answer.output.size() == first.size() + 20 + last.size()); // a date has 20 characters
    CHECK(answer.output.substr(0, first.size()) == first);
    CHECK(answer.output.substr(first.size() + 20) == last);
    CHECK(answer.output[first.size() + 11] == ' ');
    CHECK(answer.output[first.size() + 14] == ':');
    CHECK(fake_store.calls.empty());
}

TEST_CASE("a store that cannot be reached ends the program")
{
    closed_store().reachable = false;
    const Ran answer = ran({});
    CHECK(answer.status == 1);
    CHECK(answer.output == "");
    CHECK(answer.errors == "Error: can't connect to CDS\n");
    CHECK(fake_store.calls == std::vector<std::string>{"pcd_init"});
}

TEST_CASE("only the option -m offers the initialisation menu")
{
    closed_store();
    CHECK(ran({"-m"}).output.find(".  " + init_item) != std::string::npos);
    for (const char* other : {"4", "abc", "", "-V", "-mm", "m"}) {
        CAPTURE(other);
        const Ran answer = ran({other});
        CHECK(answer.status == 0);
        CHECK(answer.output == ran({}).output);
        CHECK(answer.output.find(init_item) == std::string::npos);
    }
}

TEST_CASE("a session switches the terminal's local modes off, and restores them at its end")
{
    FakeStore& store = closed_store();
    const Terminal terminal;
    termios before;
    REQUIRE(tcgetattr(terminal.slave, &before) == 0);
    tcflag_t within = 0;
    tcflag_t at_opening = 0;
    store.before_read = [&] { within = terminal.local_modes(); };
    store.before_connect = [&] { at_opening = terminal.local_modes(); };
    static const Terminal* watched = nullptr;
    static tcflag_t at_closing = 0;
    watched = &terminal;
    before_close = [] { at_closing = watched->local_modes(); };
    REQUIRE(write(terminal.master, "0\n", 2) == 2);
    console_on(terminal.slave, [&] {
        const char* arguments[] = {"prog"};
        run(1, arguments);
    });
    before_close = nullptr;
    CHECK(within == (before.c_lflag & ~switched_off));
    CHECK(at_opening == before.c_lflag);
    CHECK(at_closing == before.c_lflag);
    termios after;
    REQUIRE(tcgetattr(terminal.slave, &after) == 0);
    CHECK(after.c_lflag == before.c_lflag);
    CHECK(after.c_iflag == before.c_iflag);
    CHECK(after.c_oflag == before.c_oflag);
    CHECK(store.calls.back() == "pcd_close");
}

TEST_CASE("keys that are typed ahead are not lost")
{
    closed_store();
    int ends[2];
    REQUIRE(pipe(ends) == 0);
    REQUIRE(write(ends[1], "9\n9\n0\n", 6) == 6);
    int status = 77;
    console_on(ends[0], [&] {
        std::setvbuf(stdin, nullptr, _IOFBF, BUFSIZ);
        const char* arguments[] = {"prog"};
        status = run(1, arguments);
    });
    CHECK(status == 0);
    close(ends[0]);
    close(ends[1]);
}

TEST_CASE("a session opens the store, stamps elements, and closes the store at its end")
{
    fresh_store();
    cds_disconnect();
    fake_store.calls.clear();
    toolkit::CElement::_auto_time = false;
    bool stamped = false;
    fake_store.before_read = [&] { stamped = toolkit::CElement::_auto_time; };
    int status = 77;
    const char* arguments[] = {"meter-settings", "3"};
    const std::string screen = console_of("0\n", [&] { status = run(2, arguments); });
    CHECK(status == 0);
    CHECK(stamped);
    CHECK(fake_store.calls.front() == "pcd_init");
    CHECK(fake_store.calls.back() == "pcd_close");
    CHECK(fake_store.calls.size() == 3);
    CHECK(screen.find(" 1.  Ethernet Port 1 Settings") != std::string::npos);
    // Deliberate: the program ignores the number of interfaces in its argument.
    CHECK(screen.find("Ethernet Port 2") == std::string::npos);
}

TEST_CASE("an exception from the menus does not restore the terminal or close the connection")
{
    FakeStore& store = fresh_store();
    store.before_read = [] { throw std::runtime_error("the store is on fire"); };
    const Terminal terminal;
    const tcflag_t before = terminal.local_modes();
    REQUIRE((before & switched_off) == switched_off);
    bool escaped = false;
    console_on(terminal.slave, [&] {
        try {
            const char* arguments[] = {"meter-settings"};
            run(1, arguments);
        } catch (const std::runtime_error&) {
            escaped = true;
        }
    });
    CHECK(escaped);
    CHECK(terminal.local_modes() == (before & ~switched_off));
    CHECK(cds().handle != nullptr);
    CHECK(store.calls.empty());
}
