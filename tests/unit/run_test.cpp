#include "app/run.h"

#include "tests/unit/fake_console.h"
#include "tests/unit/fake_store.h"

#include <doctest/doctest.h>

#include <stdexcept>

#include "store/connection.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace
{

// The slave of a pseudo-terminal, whose master is typed at.
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

} // namespace

TEST_CASE("a session opens the store, stamps elements, and closes the store at its end")
{
    fresh_store();
    cds_disconnect();
    fake_store.calls.clear();
    toolkit::CElement::_auto_time = false;
    int status = 77;
    const char* arguments[] = {"meter-settings", "3"};
    const std::string screen = console_of("0\n", [&] { status = run(2, arguments); });
    CHECK(status == 0);
    CHECK(toolkit::CElement::_auto_time);
    CHECK(fake_store.calls.front() == "pcd_init");
    CHECK(fake_store.calls.back() == "pcd_close");
    CHECK(fake_store.calls.size() == 3);
    CHECK(screen.find(" 1.  Ethernet Port 1 Settings") != std::string::npos);
    CHECK(screen.find("Ethernet Port 2") == std::string::npos); // whatever number was given
}

TEST_CASE("an exception from the menus leaves the terminal and the connection as they are")
{
    FakeStore& store = fresh_store();
    store.before_read = [] { throw std::runtime_error("the store is on fire"); };
    const Terminal terminal;
    const tcflag_t before = terminal.local_modes();
    REQUIRE((before & switched_off) == switched_off);
    bool escaped = false;
    console_on(terminal.slave, [&] {
        const char* arguments[] = {"meter-settings"};
        try {
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
