#include "network/port_menu.h"

#include "tests/unit/fake_console.h"
#include "tests/unit/fake_store.h"

#include <doctest/doctest.h>

namespace
{

const std::string branch = "/Software/System Settings/Network/Interface/1/";

InterfaceSettings port_after(const std::string& keys, std::string* screen = nullptr)
{
    InterfaceSettings port;
    const std::string shown = console_of(keys + "0\n", [&] { run_port_menu(port); });
    if (screen != nullptr)
        *screen = shown;
    return port;
}

// The effects of an answer to the media-type question.
struct MediaAnswer {
    EditableText media;
    bool rejected;
};

MediaAnswer media_answered(const std::string& types, const std::string& reply)
{
    FakeStore& store = fresh_store();
    store.leaves[branch + "Media Type/Supported Types/Value"] = text_element(types);
    store.leaves[branch + "Media Type/Current Type/Value"] = text_element("old");
    std::string screen;
    const InterfaceSettings port = port_after("5\n" + reply + "\n", &screen);
    return {port.media_type, shows(screen, "Error: invalid selection\n")};
}

} // namespace

TEST_CASE("every pass reads the port's eight leaves in order, numbered, in one call")
{
    const FakeStore& store = fresh_store();
    InterfaceSettings port;
    port.number = 12;
    console_of("7\n0\n", [&] { run_port_menu(port); });
    const std::string twelve = "/Software/System Settings/Network/Interface/12/";
    std::string read = "get_leaves";
    for (const char* name :
         {"DHCP Enabled", "IP Address", "Subnet Mask", "Default Gateway", "MAC Address",
          "Link Enabled", "Media Type/Supported Types", "Media Type/Current Type"})
        read += " " + twelve + name + "/Value";
    CHECK(store.calls == std::vector<std::string>{read, read});
}

TEST_CASE("the port menu shows the values in the store")
{
    FakeStore& store = fresh_store();
    store.leaves[branch + "DHCP Enabled/Value"] = boolean_element(false);
    store.leaves[branch + "IP Address/Value"] = text_element("192.0.2.10");
    store.leaves[branch + "Subnet Mask/Value"] = text_element("255.255.255.128");
    store.leaves[branch + "Default Gateway/Value"] = text_element("192.0.2.1");
    store.leaves[branch + "MAC Address/Value"] = text_element("02:00:5E:00:00:01");
    store.leaves[branch + "Link Enabled/Value"] = boolean_element(true);
    store.leaves[branch + "Media Type/Current Type/Value"] = text_element("10BaseT");
    std::string screen;
    const InterfaceSettings port = port_after("", &screen);
    CHECK(shows(screen, " Network Settings: Ethernet Port 1 "));
    CHECK(shows(screen, "\n 1.  Dynamic Addressing (DHCP)       :  Disabled "));
    CHECK(shows(screen, "\n\n 2.  IP Address                      :  192.0.2.10 "));
    CHECK(shows(screen, "\n 3.  Subnet Mask                     :  255.255.255.128 "));
    CHECK(shows(screen, "\n 4.  Default Gateway                 :  192.0.2.1 "));
    CHECK(shows(screen, "\n 5.  Media Type                      :  10BaseT "));
    CHECK(shows(screen, "\n\n     MAC Address                     :  02:00:5E:00:00:01 "));
    CHECK(shows(screen, "\n     Link Status                     :  Enabled "));
    CHECK(shows(screen, "\n 0.  Exit to previous menu "));
    CHECK_FALSE(port.dhcp.changed);
}

TEST_CASE("missing leaves are shown as DHCP enabled and all else empty")
{
    fresh_store();
    std::string screen;
    port_after("", &screen);
    CHECK(shows(screen, "(DHCP)       :  Enabled "));
    CHECK(shows(screen, "IP Address                      :  [None] "));
    CHECK(shows(screen, "Subnet Mask                     :  [None] "));
    CHECK(shows(screen, "Default Gateway                 :  [None] "));
    CHECK(shows(screen, "Media Type                      :  [Auto-negotiate] "));
    CHECK(shows(screen, "MAC Address                     :  [None] "));
    CHECK(shows(screen, "Link Status                     :  Disabled "));
}

TEST_CASE("a failed first read warns and leaves DHCP off")
{
    for (const int result : {-1, 3}) {
        fresh_store().results["get_leaves"] = {result};
        std::string screen;
        port_after("", &screen);
        CHECK(screen.substr(0, 42) == "Warning: couldn't read interface settings!");
        CHECK(shows(screen, "(DHCP)       :  Disabled "));
    }
}

TEST_CASE("a link that was enabled is shown as disabled once it cannot be read")
{
    fresh_store();
    InterfaceSettings port;
    port.link_enabled.value = true;
    CHECK(shows(console_of("0\n", [&] { run_port_menu(port); }),
                "Link Status                     :  Disabled "));
}

TEST_CASE("a leaf that holds a number is not loaded into a text of a port")
{
    FakeStore& store = fresh_store();
    for (const char* name : {"IP Address", "Subnet Mask", "Default Gateway", "MAC Address",
                             "Media Type/Supported Types", "Media Type/Current Type"})
        store.leaves[branch + name + "/Value"] = number_element(7);
    const InterfaceSettings port = port_after("");
    CHECK(port.ip_address.text == "");
    CHECK(port.subnet_mask.text == "");
    CHECK(port.default_gateway.text == "");
    CHECK(port.mac_address.text == "");
    CHECK(port.supported_media_types.text == "");
    CHECK(port.media_type.text == "");
}

TEST_CASE("the DHCP question takes an answer, and reports a missing one")
{
    fresh_store();
    const InterfaceSettings port = port_after("1\nn\n");
    CHECK_FALSE(port.dhcp.value);
    CHECK(port.dhcp.changed);

    std::string screen;
    CHECK_FALSE(port_after("1\n\n", &screen).dhcp.changed);
    CHECK(shows(screen, "Enable DHCP? (y/n): \nError: invalid response\n"));
}

TEST_CASE("each address is stored in its setting, whatever the DHCP state")
{
    fresh_store();
    const InterfaceSettings port = port_after("2\n192.0.2.2\n3\n255.255.0.0\n4\n192.0.2.4\n");
    CHECK(port.ip_address.text == "192.0.2.2");
    CHECK(port.subnet_mask.text == "255.255.0.0");
    CHECK(port.default_gateway.text == "192.0.2.4");
    CHECK(port.ip_address.changed);
    CHECK(port.subnet_mask.changed);
    CHECK(port.default_gateway.changed);
}

TEST_CASE("an emptied mask becomes the default mask and sets the changed flag")
{
    fresh_store();
    const InterfaceSettings port = port_after("3\n~\n");
    CHECK(port.subnet_mask.text == "255.255.255.0");
    CHECK(port.subnet_mask.changed);
    CHECK(port_after("2\n~\n").ip_address.text == "");
}

TEST_CASE("a rejected mask leaves an empty mask empty")
{
    fresh_store();
    const InterfaceSettings port = port_after("3\n1.2.3\n");
    CHECK(port.subnet_mask.text == "");
    CHECK_FALSE(port.subnet_mask.changed);
}

TEST_CASE("the media types are listed in the prompt")
{
    FakeStore& store = fresh_store();
    store.leaves[branch + "Media Type/Supported Types/Value"] = text_element("A;B b");
    std::string screen;
    port_after("5\n2\n", &screen);
    CHECK(shows(screen, "5\n\nAvailable media types:\n\n0) Auto-negotiate (recommended)\n1) A\n"
                        "2) B b\n\nSelect an option (0-2) ==>  : 2\n"));
}

TEST_CASE("a media type is chosen by its number, and 0 empties it")
{
    for (const char* reply : {"2", " 2", "+2", "02"}) {
        const MediaAnswer answer = media_answered("A;B", reply);
        CHECK(answer.media.text == "B");
        CHECK(answer.media.changed);
        CHECK_FALSE(answer.rejected);
    }
    for (const char* reply : {"0", "-0"}) {
        const MediaAnswer answer = media_answered("A;B", reply);
        CHECK(answer.media.text == "");
        CHECK(answer.media.changed);
        CHECK_FALSE(answer.rejected);
    }
    CHECK(media_answered(";A", "1").media.text == "");
    CHECK(media_answered("A;;B", "3").media.text == "B");
    CHECK(media_answered("", "0").media.changed);
}

TEST_CASE("any other reply leaves the media type unchanged")
{
    for (const char* reply : {"3", "-1", "1x", "1 ", "", " ", "x", "4294967297", "4294967296",
                              "99999999999999999999", "-99999999999999999999"}) {
        CAPTURE(reply);
        const MediaAnswer answer = media_answered("A;B", reply);
        CHECK(answer.media.text == "old");
        CHECK_FALSE(answer.media.changed);
        CHECK(answer.rejected);
    }
    CHECK(media_answered("", "1").rejected);
    CHECK(media_answered("A;", "2").rejected);
}

TEST_CASE("each question reports a time-out")
{
    const char* questions[] = {"Enable DHCP? (y/n): ", "Enter IP Address: ", "Enter Subnet Mask: ",
                               "Enter Default Gateway: ", "Select an option (0-0) ==>  : "};
    for (int item = 1; item <= 5; ++item) {
        fresh_store();
        InterfaceSettings port;
        const std::string screen = console_of(
            std::to_string(item) + "\n0\n", [&] { run_port_menu(port); }, "kkt");
        CHECK(shows(screen, questions[item - 1] + std::string("\nTimed out.\n\n\n-")));
        CHECK(port.subnet_mask.text == "");
        CHECK_FALSE(port.dhcp.changed);
        CHECK_FALSE(port.ip_address.changed);
        CHECK_FALSE(port.subnet_mask.changed);
        CHECK_FALSE(port.default_gateway.changed);
        CHECK_FALSE(port.media_type.changed);
    }
}

TEST_CASE("each question has its own message for a failed wait")
{
    const char* messages[] = {"Enable DHCP? (y/n): \nError: invalid response\n",
                              "Enter IP Address: \nError: invalid address\n",
                              "Enter Subnet Mask: \nError: invalid address\n",
                              "Enter Default Gateway: \nError: invalid address\n",
                              "Select an option (0-0) ==>  : \nError: invalid selection\n"};
    for (int item = 1; item <= 5; ++item) {
        fresh_store();
        InterfaceSettings port;
        const std::string screen = console_of(
            std::to_string(item) + "\n0\n", [&] { run_port_menu(port); }, "kkf");
        CHECK(shows(screen, messages[item - 1] + std::string("\n\n-")));
    }
}

TEST_CASE("keys typed before a failed wait do not choose a media type")
{
    FakeStore& store = fresh_store();
    store.leaves[branch + "Media Type/Supported Types/Value"] = text_element("A");
    InterfaceSettings port;
    const std::string screen = console_of(
        "5\n10\n", [&] { run_port_menu(port); }, "kkkf");
    CHECK(shows(screen, "==>  : 1\nError: invalid selection\n"));
    CHECK(port.media_type.text == "");
    CHECK_FALSE(port.media_type.changed);
}

TEST_CASE("a menu that times out is drawn again without a message")
{
    fresh_store();
    InterfaceSettings port;
    const std::string screen = console_of(
        "0\n", [&] { run_port_menu(port); }, "tf");
    CHECK(shows(screen, "Select an option ==>  \n\n\n-"));
    CHECK_FALSE(shows(screen, "rror"));
    CHECK_FALSE(shows(screen, "Timed out"));
    CHECK(fake_store.calls.size() == 3);
}
