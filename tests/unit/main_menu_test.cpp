#include "network/main_menu.h"

#include "tests/unit/fake_console.h"
#include "tests/unit/fake_store.h"

#include <doctest/doctest.h>

namespace
{

SettingsSession session_with_ports(std::size_t count, bool init_menu_requested = false)
{
    SettingsSession session;
    session.interfaces.resize(count);
    for (std::size_t i = 0; i < count; ++i)
        session.interfaces[i].number = static_cast<std::uint32_t>(i + 1);
    session.init_menu_requested = init_menu_requested;
    return session;
}

// Makes a choice in the main menu, types Enter, which changes nothing, and leaves all menus.
// Returns a text that identifies the menu, question or error after the choice. Returns the whole
// output when it contains no known text.
std::string led_to(SettingsSession session, int choice)
{
    fresh_store();
    const std::string keys = std::to_string(choice) + "\n\n0\ny\n0\ny\n";
    const std::string screen = console_of(keys, [&] { run_main_menu(session); });
    for (const char* shown_first :
         {"Ethernet Port 1 -", "Ethernet Port 2 -", "Ethernet Port 3 -", "Enter Primary DNS",
          "Enter Secondary DNS", "Reset all passwords ? (y/n)", "Clear Velmora II",
          "Save & apply all settings? (y/n)", "Error: Invalid selection"}) {
        if (screen.find(shown_first) != std::string::npos)
            return shown_first;
    }
    return screen;
}

SettingsSession changed(SettingsSession session)
{
    session.primary_dns.changed = true;
    return session;
}

// Makes a choice in the main menu and types `keys`. Returns the output between the choice and the
// next screen.
std::string answered(SettingsSession& session, int choice, const std::string& keys,
                     const std::string& waits = "")
{
    const std::string chosen = std::to_string(choice) + "\n";
    const std::string screen = console_of(
        chosen + keys + "0\ny\n", [&] { run_main_menu(session); },
        waits.empty() ? "" : ("kk" + waits).c_str());
    const std::size_t start = screen.find("==>  " + chosen) + 5 + chosen.size();
    return screen.substr(start, screen.find("\n\n--", start) - start);
}

} // namespace

TEST_CASE("the main menu has its title, and its lines in groups")
{
    fresh_store();
    SettingsSession session = changed(session_with_ports(1, true));
    const std::string screen = console_of("0\ny\n", [&] { run_main_menu(session); });
    CHECK(shows(screen, "-\n---------------------------- Velmora II Settings ----------------------"
                        "-------\n-"));
    CHECK(shows(screen, " 4.  Reset all passwords to Factory Defaults "));
}

TEST_CASE("with one port the choices are port, name servers, passwords, initialisation, save")
{
    const SettingsSession session = changed(session_with_ports(1, true));
    CHECK(led_to(session, 1) == "Ethernet Port 1 -");
    CHECK(led_to(session, 2) == "Enter Primary DNS");
    CHECK(led_to(session, 3) == "Enter Secondary DNS");
    CHECK(led_to(session, 4) == "Reset all passwords ? (y/n)");
    CHECK(led_to(session, 5) == "Clear Velmora II");
    CHECK(led_to(session, 6) == "Save & apply all settings? (y/n)");
    CHECK(led_to(session, 7) == "Error: Invalid selection");
}

TEST_CASE("choice 5 saves when the initialisation menu was not requested")
{
    CHECK(led_to(changed(session_with_ports(1)), 5) == "Save & apply all settings? (y/n)");
}

TEST_CASE("with several ports the initialisation menu is still choice 5 alone")
{
    const SettingsSession two = session_with_ports(2, true);
    CHECK(led_to(two, 2) == "Ethernet Port 2 -");
    CHECK(led_to(two, 5) == "Reset all passwords ? (y/n)");
    // Deliberate: with two ports, the menu shows the number 6 for the initialisation, but choice 6
    // saves.
    CHECK(led_to(two, 6) == "Save & apply all settings? (y/n)");
    CHECK(led_to(changed(two), 7) == "Save & apply all settings? (y/n)");

    const SettingsSession three = session_with_ports(3, true);
    CHECK(led_to(three, 2) == "Ethernet Port 2 -");
    CHECK(led_to(three, 3) == "Ethernet Port 3 -");
    CHECK(led_to(three, 5) == "Enter Secondary DNS");
    CHECK(led_to(three, 7) == "Save & apply all settings? (y/n)");
}

TEST_CASE("without a port, choice 5 still opens the initialisation menu")
{
    CHECK(led_to(session_with_ports(0, true), 4) == "Save & apply all settings? (y/n)");
    CHECK(led_to(changed(session_with_ports(0, true)), 5) == "Clear Velmora II");
}

TEST_CASE("every pass reads the two name servers once and shows all ports")
{
    FakeStore& store = fresh_store();
    store.leaves["/Software/System Settings/Network/Name Server/1/Value"] =
        text_element("192.0.2.1");
    SettingsSession session = session_with_ports(2);
    const std::string screen = console_of("9\n0\n", [&] { run_main_menu(session); });
    const std::string read = "get_leaves /Software/System Settings/Network/Name Server/1/Value"
                             " /Software/System Settings/Network/Name Server/2/Value";
    CHECK(store.calls == std::vector<std::string>{read, read});
    CHECK(shows(screen, " 1.  Ethernet Port 1 Settings"));
    CHECK(shows(screen, " 2.  Ethernet Port 2 Settings"));
    CHECK(shows(screen, " 3.  DNS Server (Primary)            :  192.0.2.1 "));
    CHECK(shows(screen, " 4.  DNS Server (Secondary)          :  [None] "));
    CHECK_FALSE(shows(screen, "Initialization"));
    CHECK_FALSE(shows(screen, "Save & apply"));
    CHECK(shows(screen, " 0.  Exit  "));
}

TEST_CASE("after a change the save is offered last, and leaving asks first")
{
    fresh_store();
    SettingsSession session = session_with_ports(1, true);
    session.interfaces[0].dhcp.changed = true;
    const std::string screen = console_of("0\nn\n0\n\n0\ny\n", [&] { run_main_menu(session); });
    CHECK(shows(screen, " 5.  Velmora II Initialization (Serial and Options List) "));
    CHECK(shows(screen, " 6.  Save & apply all settings "));
    CHECK(shows(screen, " 0.  Exit without saving "));
    std::size_t asked = 0;
    for (std::size_t at = 0;
         (at = screen.find("Exit without saving? (y/n): ", at)) != std::string::npos; ++at)
        ++asked;
    CHECK(asked == 3);
    CHECK(any_changed(session));
}

TEST_CASE("a failed read warns and keeps the name servers")
{
    for (const int result : {-1, 3}) {
        fresh_store().results["get_leaves"] = {result};
        SettingsSession session = session_with_ports(1);
        session.primary_dns.text = "192.0.2.7";
        const std::string screen = console_of("0\n", [&] { run_main_menu(session); });
        CHECK(screen.substr(0, 44) == "Warning: couldn't read network settings!\n\n\n-");
        CHECK(shows(screen, ":  192.0.2.7 "));
    }
}

TEST_CASE("a port is listed by its place, whatever its number")
{
    fresh_store();
    SettingsSession session = session_with_ports(1);
    session.interfaces[0].number = 7;
    CHECK(shows(console_of("0\n", [&] { run_main_menu(session); }),
                " 1.  Ethernet Port 1 Settings "));
}

TEST_CASE("the message of a password reset is on the screen before its script runs")
{
    FakeStore& store = fresh_store();
    std::string before;
    store.before_command = [&] { before = console_so_far(); };
    SettingsSession session = session_with_ports(1);
    const std::string asked =
        "Reset all passwords ? (y/n): y\nRestoring defaults: please wait...\n";
    CHECK(answered(session, 4, "y\n") == asked + "Passwords reset to defaults.\n");
    CHECK(store.calls[1] == "system sernetpwreset.sh > /dev/null 2>&1");
    CHECK(before.substr(before.size() - asked.size()) == asked);
    CHECK_FALSE(any_changed(session));
}

TEST_CASE("a name server that is not entered is reported and unchanged")
{
    for (const int choice : {2, 3}) {
        fresh_store();
        SettingsSession session = session_with_ports(1);
        const auto reported = [&](const std::string& keys, const char* waits) {
            const std::string screen = answered(session, choice, keys, waits);
            return screen.substr(screen.find(": ") + 2);
        };
        CHECK(reported("", "t") == "\nTimed out.\n");
        CHECK(reported("", "f") == "\nError: invalid address\n");
        CHECK(reported("1.2\n", "") == "1.2\nError: invalid address\n");
        CHECK_FALSE(any_changed(session));
    }
}

TEST_CASE("each name server has its own text")
{
    fresh_store();
    SettingsSession session = session_with_ports(1);
    answered(session, 2, "192.0.2.1\n");
    CHECK(session.primary_dns.text == "192.0.2.1");
    CHECK(session.secondary_dns.text == "");
    answered(session, 3, "192.0.2.2\n");
    CHECK(session.primary_dns.text == "192.0.2.1");
    CHECK(session.secondary_dns.text == "192.0.2.2");
}

TEST_CASE("a password reset that is not confirmed runs and prints nothing")
{
    const std::string question = "Reset all passwords ? (y/n): ";
    const FakeStore& store = fresh_store();
    SettingsSession session = session_with_ports(1);
    CHECK(answered(session, 4, "n\n") == question + "n\n");
    CHECK(answered(session, 4, "\n") == question + "\n");
    CHECK(answered(session, 4, "y", "kt") == question + "y\n");
    for (const std::string& call : store.calls)
        CHECK(call.substr(0, 10) == "get_leaves");
}

TEST_CASE("after a time-out at the question before leaving, the program stays in the menu")
{
    fresh_store();
    SettingsSession session = session_with_ports(1);
    session.primary_dns.changed = true;
    const std::string screen = console_of(
        "0\n0\ny\n", [&] { run_main_menu(session); }, "kkt");
    CHECK(shows(screen, "Exit without saving? (y/n): \n\n\n-"));
    CHECK(shows(screen, "Exit without saving? (y/n): y\n"));
}
