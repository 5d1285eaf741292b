#include "network/save.h"

#include "meterinit/option_leaves.h"
#include "tests/unit/fake_console.h"
#include "tests/unit/fake_store.h"

#include <doctest/doctest.h>

#include <algorithm>

namespace
{

using Calls = std::vector<std::string>;

const std::string network = "/Software/System Settings/Network/";
const std::string general = "/VMC/Comms/EthPort/1/General/";
const Calls closing_commands = {"system rm -rf /jffs/downloads/vmconfig.*",
                                "system /etc/init.d/network restart > /dev/null 2>&1"};

SettingsSession unchanged_session(std::size_t ports = 1)
{
    SettingsSession session;
    session.interfaces.resize(ports);
    for (std::size_t i = 0; i < ports; ++i)
        session.interfaces[i].number = static_cast<std::uint32_t>(i + 1);
    return session;
}

std::string saved(SettingsSession& session)
{
    return console_of("y\n", [&] { save_and_apply(session); });
}

const std::string question = "Save & apply all settings? (y/n): y\n";

// Runs a save and checks that it ends with the closing commands. Returns the calls before these
// commands.
Calls calls_of_save(SettingsSession& session)
{
    fresh_store();
    saved(session);
    Calls calls = fake_store.calls;
    REQUIRE(calls.size() >= 2);
    CHECK(Calls(calls.end() - 2, calls.end()) == closing_commands);
    calls.resize(calls.size() - 2);
    return calls;
}

} // namespace

TEST_CASE("a save with nothing changed writes nothing but runs the commands that apply")
{
    SettingsSession session = unchanged_session();
    CHECK(calls_of_save(session).empty());
    fresh_store();
    CHECK(saved(session) == question + "Settings saved.\n");
}

TEST_CASE("a script that fails is not repeated, and the save continues")
{
    FakeStore& store = fresh_store();
    store.results["system"] = {256, 256, 256};
    SettingsSession session = unchanged_session();
    session.enclosure = {"W", true};
    CHECK(saved(session) == question + "Updating the Model Number\n"
                                       "Meter must be reset for changed options to take effect.\n"
                                       "Settings saved.\n");
    CHECK(Calls(store.calls.begin() + 1, store.calls.end()) ==
          Calls{"system vmkeys -m >/dev/null 2>&1", closing_commands[0], closing_commands[1]});
}

TEST_CASE("any answer but yes at the question does and prints nothing")
{
    for (const char* answer : {"n\n", "\n", "x\n"}) {
        fresh_store();
        SettingsSession session = unchanged_session();
        session.primary_dns = {"192.0.2.1", true};
        const std::string screen = console_of(answer, [&] { save_and_apply(session); });
        CHECK(screen == std::string("Save & apply all settings? (y/n): ") + answer);
        CHECK(fake_store.calls.empty());
        CHECK(session.primary_dns.changed);
    }
}

TEST_CASE("only changed texts are written; empty ones are cleared, the others set")
{
    SettingsSession session = unchanged_session();
    session.primary_dns = {"", true};
    session.secondary_dns = {"192.0.2.2", true};
    session.interfaces[0].mac_address = {"x", true};
    session.interfaces[0].ip_address = {"192.0.2.3", false};
    CHECK(calls_of_save(session) ==
          Calls{"set_leaves " + network + "Name Server/2/Value=\"192.0.2.2\"/1 \"Console\"",
                "clear_leaves " + network + "Name Server/1/Value \"\" statuses 1"});
    CHECK(fake_store.statuses_given == 1); // one status for each leaf that was set
    CHECK_FALSE(any_changed(session));
}

TEST_CASE("with nothing to set, only the clear is called, with an empty status list")
{
    SettingsSession session = unchanged_session();
    session.primary_dns = {"", true};
    CHECK(calls_of_save(session) ==
          Calls{"clear_leaves " + network + "Name Server/1/Value \"\" statuses 0"});
}

TEST_CASE("a port is written to its mirror leaves first, then to its own leaves in one batch")
{
    SettingsSession session = unchanged_session();
    InterfaceSettings& port = session.interfaces[0];
    port.dhcp = {false, true};
    port.ip_address = {"192.0.2.3", true};
    port.subnet_mask = {"255.255.255.0", true};
    port.default_gateway = {"192.0.2.1", true};
    port.media_type = {"10BaseT", true};
    const std::string own = network + "Interface/1/";
    CHECK(calls_of_save(session) ==
          Calls{
              "set_leaf " + general + "DHCP/Value=0/1 \"\" status 1",
              "set_leaf " + general + "IPAddress/Value=\"192.0.2.3\"/1 \"\" status 1",
              "set_leaf " + general + "SubnetMask/Value=\"255.255.255.0\"/1 \"\" status 1",
              "set_leaf " + general + "DefaultGateway/Value=\"192.0.2.1\"/1 \"\" status 1",
              "set_leaves " + own + "DHCP Enabled/Value=false/1 " + own +
                  "IP Address/Value=\"192.0.2.3\"/1 " + own +
                  "Subnet Mask/Value=\"255.255.255.0\"/1 " + own +
                  "Default Gateway/Value=\"192.0.2.1\"/1 " + own +
                  "Media Type/Current Type/Value=\"10BaseT\"/1 \"Console\"",
          });
}

TEST_CASE("emptied addresses and media types are cleared without a write to the mirror leaves")
{
    SettingsSession session = unchanged_session();
    InterfaceSettings& port = session.interfaces[0];
    port.ip_address = port.subnet_mask = port.default_gateway = port.media_type = {"", true};
    const std::string own = network + "Interface/1/";
    CHECK(calls_of_save(session) ==
          Calls{"clear_leaves " + own + "IP Address/Value " + own + "Subnet Mask/Value " + own +
                "Default Gateway/Value " + own + "Media Type/Current Type/Value \"\" statuses 0"});
}

TEST_CASE("every port writes its own numbered leaves and the mirror leaves of port 1")
{
    SettingsSession session = unchanged_session(2);
    session.primary_dns = {"192.0.2.9", true};
    session.interfaces[0].dhcp = {true, true};
    session.interfaces[0].ip_address = {"", true};
    session.interfaces[1].dhcp = {true, true};
    session.interfaces[1].ip_address = {"", true};
    CHECK(calls_of_save(session) ==
          Calls{
              "set_leaf " + general + "DHCP/Value=1/1 \"\" status 1",
              "set_leaf " + general + "DHCP/Value=1/1 \"\" status 1",
              "set_leaves " + network + "Name Server/1/Value=\"192.0.2.9\"/1 " + network +
                  "Interface/1/DHCP Enabled/Value=true/1 " + network +
                  "Interface/2/DHCP Enabled/Value=true/1 \"Console\"",
              "clear_leaves " + network + "Interface/1/IP Address/Value " + network +
                  "Interface/2/IP Address/Value \"\" statuses 3",
          });
}

TEST_CASE("a failed general write is reported and does not fail the save")
{
    FakeStore& store = fresh_store();
    store.results["set_leaf"] = {-1, 3, 1, 9};
    SettingsSession session = unchanged_session();
    InterfaceSettings& port = session.interfaces[0];
    port.dhcp = {true, true};
    port.ip_address = port.subnet_mask = port.default_gateway = {"1.2.3.4", true};
    CHECK(saved(session) == question + "set_leaf failed for \x93" + general + "DHCP/Value\n" +
                                "set_leaf failed for " + general + "IPAddress/Value\n" +
                                "set_leaf failed for " + general + "SubnetMask/Value\n" +
                                "set_leaf failed for " + general + "DefaultGateway/Value\n" +
                                "Settings saved.\n");
    CHECK_FALSE(any_changed(session));
}

TEST_CASE("the status of the general writes is not reset for each leaf of a port")
{
    FakeStore& store = fresh_store();
    // The library rejects the first mirror leaf. It does not set the status of later mirror leaves.
    store.decide_status = [](const std::string& path, api_status_t& status) {
        if (path == general + "DHCP/Value")
            status = 4;
        else if (path.find("/VMC/Comms/") != 0)
            status = 1;
    };
    SettingsSession session = unchanged_session(2);
    for (InterfaceSettings& port : session.interfaces)
        port.ip_address = {"1.2.3.4", true};
    session.interfaces[0].dhcp = {true, true};
    CHECK(saved(session) == question + "set_leaf failed for \x93" + general + "DHCP/Value\n" +
                                "set_leaf failed for " + general + "IPAddress/Value\n" +
                                "Settings saved.\n");
    CHECK(store.calls[1].substr(store.calls[1].size() - 8) == "status 4");
    // The save resets the status for each port.
    CHECK(store.calls[2].substr(store.calls[2].size() - 8) == "status 1");
}

TEST_CASE("the initialisation texts are written in order, the numbers as integers")
{
    SettingsSession session = unchanged_session();
    session.serial_number = {"091512345", true};
    session.meter_form = {" 3x", true};
    session.class_amps = {"abc", true};
    session.nominal_frequency = {"99999999999", true};
    session.enclosure = {"RK", true};
    CHECK(calls_of_save(session) ==
          Calls{"set_leaves /VMIC/SerialNumber/Value=\"091512345\"/1 /VMC/PrimCfg/Form/Value=3/1 "
                "/VMC/PrimCfg/ClassAmps/Value=0/1 /VMC/PrimCfg/NomFreq/Value=2147483647/1 "
                "/VMIC/Enclosure/Value=\"RK\"/1 /VMF/UpdateService/SetPrimCfg/Value=true/1 "
                "\"Console\"",
                "system vmkeys -m >/dev/null 2>&1"});
}

TEST_CASE("setting any of the numbers triggers the primary configuration, clearing it does not")
{
    for (const auto number : {&SettingsSession::meter_form, &SettingsSession::class_amps,
                              &SettingsSession::nominal_frequency}) {
        SettingsSession session = unchanged_session();
        session.*number = {"1", true};
        CHECK(calls_of_save(session)[0].find("/VMF/UpdateService/SetPrimCfg/Value=true/1") !=
              std::string::npos);
        session.*number = {"", true};
        const Calls cleared = calls_of_save(session);
        CHECK(cleared[0].find("clear_leaves /VMC/PrimCfg/") == 0);
        CHECK(cleared[0].find("SetPrimCfg") == std::string::npos);
    }
}

TEST_CASE("a changed enclosure updates the model number and triggers nothing")
{
    SettingsSession session = unchanged_session();
    session.enclosure = {"W", true};
    fresh_store();
    CHECK(saved(session) == question + "Updating the Model Number\n"
                                       "Meter must be reset for changed options to take effect.\n"
                                       "Settings saved.\n");
    CHECK(fake_store.calls[0] == "set_leaves /VMIC/Enclosure/Value=\"W\"/1 \"Console\"");
    CHECK(fake_store.calls[1] == "system vmkeys -m >/dev/null 2>&1");
    CHECK(fake_store.calls.size() == 4);
}

TEST_CASE("an options list writes the batch with its triggers, pauses, and triggers the logs")
{
    begin_option_batch();
    add_option_leaf("/VMIC/Options/Web/Value", true);
    SettingsSession session = unchanged_session();
    session.options_list = {"WEB", true};
    CHECK(calls_of_save(session) ==
          Calls{"set_leaves /VMIC/OptionsList/Value=\"WEB\"/1 \"Console\"",
                "set_leaves /VMIC/Options/Web/Value=true/1 "
                "/VMF/UpdateService/OptionsUpdate/Value=true/0 "
                "/VMF/UpdateService/OptionChange/DualLP/Value=true/0 \"\"",
                "sleep 1",
                "set_leaves /VMF/UpdateService/SetMeasLog/1/Value=true/0 "
                "/VMF/UpdateService/SetMeasLog/2/Value=true/0 \"\"",
                "system vmkeys -m >/dev/null 2>&1"});
    CHECK_FALSE(are_options_pending());

    // Deliberate: the two SetMeasLog triggers stay in the batch until the program checks another
    // list.
    session.options_list = {"WEB", true};
    CHECK(calls_of_save(session)[1] == "set_leaves /VMF/UpdateService/SetMeasLog/1/Value=true/0 "
                                       "/VMF/UpdateService/SetMeasLog/2/Value=true/0 "
                                       "/VMF/UpdateService/OptionsUpdate/Value=true/0 "
                                       "/VMF/UpdateService/OptionChange/DualLP/Value=true/0 \"\"");
}

TEST_CASE("an emptied options list is cleared and writes no batch")
{
    SettingsSession session = unchanged_session();
    session.options_list = {"", true};
    CHECK(calls_of_save(session) == Calls{"clear_leaves /VMIC/OptionsList/Value \"\" statuses 0",
                                          "system vmkeys -m >/dev/null 2>&1"});

    session.options_list = {"", true};
    session.enclosure = {"RK", true};
    CHECK(calls_of_save(session) == Calls{"set_leaves /VMIC/Enclosure/Value=\"RK\"/1 \"Console\"",
                                          "clear_leaves /VMIC/OptionsList/Value \"\" statuses 1",
                                          "system vmkeys -m >/dev/null 2>&1"});
    CHECK_FALSE(are_options_pending());
}

TEST_CASE(
    "a batch that fails as a whole stops the save, and keeps the changed flags and pending options")
{
    FakeStore& store = fresh_store();
    store.results["set_leaves"] = {7};
    SettingsSession session = unchanged_session();
    session.primary_dns = {"", true};
    session.options_list = {"WEB", true};
    CHECK(saved(session) == question + "Error saving settings!\n");
    CHECK(store.calls.size() == 1);
    CHECK(session.primary_dns.changed);
    CHECK(session.options_list.changed);
    CHECK(are_options_pending());

    // The options stay pending even when the list is emptied before the next save.
    session.options_list.text.clear();
    session.enclosure = {"W", true};
    store.calls.clear();
    saved(session);
    CHECK(store.calls[1].find("OptionsUpdate") != std::string::npos);
    CHECK(store.calls[4].find("clear_leaves") == 0);
    CHECK_FALSE(are_options_pending());
}

TEST_CASE("a status other than success fails the save after the options have been written")
{
    FakeStore& store = fresh_store();
    store.decide_status = [](const std::string& path, api_status_t& status) {
        status = path == "/VMIC/OptionsList/Value" ? 2 : 1;
    };
    SettingsSession session = unchanged_session();
    session.primary_dns = {"", true};
    session.options_list = {"WEB", true};
    CHECK(saved(session) == question + "Velmora II Options list set in CDS\n"
                                       "Velmora II ML Config sent\n"
                                       "Error saving settings!\n");
    CHECK(store.calls.size() == 4); // no leaf was cleared and no command ran
    CHECK(session.options_list.changed);
    CHECK_FALSE(are_options_pending());
}

TEST_CASE("a failure of either option batch has the same message and fails the save")
{
    const std::string message = "Error while setting Velmora II Options list in cds.\n";
    struct Case {
        std::vector<int> results;
        std::string screen;
    };
    for (const Case& failing : {
             Case{{0, 1, 0}, message + "Velmora II ML Config sent\n"},
             Case{{0, 0, -3}, "Velmora II Options list set in CDS\n" + message},
             Case{{0, -1, -1}, message + message},
         }) {
        FakeStore& store = fresh_store();
        store.results["set_leaves"] = failing.results;
        SettingsSession session = unchanged_session();
        session.options_list = {"WEB", true};
        CHECK(saved(session) == question + failing.screen + "Error saving settings!\n");
        CHECK(std::count(store.calls.begin(), store.calls.end(), "sleep 1") == 1);
        CHECK(store.calls.size() == 4);
        CHECK(session.options_list.changed);
        CHECK_FALSE(are_options_pending());
    }
}

TEST_CASE("a clear that fails keeps the changed flags and runs no command; the retry succeeds")
{
    FakeStore& store = fresh_store();
    store.results["clear_leaves"] = {3};
    SettingsSession session = unchanged_session();
    session.enclosure = {"W", true};
    session.primary_dns = {"", true};
    CHECK(saved(session) == question + "Error saving settings!\n");
    CHECK(session.enclosure.changed);
    CHECK(session.primary_dns.changed);
    CHECK(store.calls.size() == 2);
    saved(session);
    CHECK_FALSE(any_changed(session));
    CHECK(store.calls.size() == 7);
}

TEST_CASE("every message is on the screen before the pause or command that follows it")
{
    FakeStore& store = fresh_store();
    Calls screens;
    store.before_command = [&] { screens.push_back(console_so_far()); };
    SettingsSession session = unchanged_session();
    session.options_list = {"WEB", true};
    saved(session);
    const std::string set = question + "Velmora II Options list set in CDS\n";
    const std::string sent = set + "Velmora II ML Config sent\nUpdating the Model Number\n";
    const std::string done =
        sent + "Meter must be reset for changed options to take effect.\nSettings saved.\n";
    CHECK(screens == Calls{set, sent, done, done});
}
