#include "meterinit/init_menu.h"

#include "meterinit/option_leaves.h"
#include "tests/unit/fake_console.h"
#include "tests/unit/fake_store.h"

#include <doctest/doctest.h>

namespace
{

const std::string read_call =
    "get_leaves /VMIC/SerialNumber/Value /VMIC/OptionsList/Value /VMC/PrimCfg/Form/Value "
    "/VMC/PrimCfg/ClassAmps/Value /VMC/PrimCfg/NomFreq/Value /VMIC/Enclosure/Value";

std::string menu_on(SettingsSession& session, const std::string& keys)
{
    return console_of(keys, [&] { run_init_menu(session); });
}

} // namespace

TEST_CASE("every pass reads the six leaves in order, in one call")
{
    const FakeStore& store = fresh_store();
    SettingsSession session;
    menu_on(session, "9\n0\n");
    CHECK(store.calls == std::vector<std::string>{read_call, read_call});
}

TEST_CASE("each line shows the value in the store")
{
    FakeStore& store = fresh_store();
    store.leaves["/VMIC/SerialNumber/Value"] = text_element("091512345");
    store.leaves["/VMIC/OptionsList/Value"] = text_element("WEB");
    store.leaves["/VMC/PrimCfg/Form/Value"] = number_element(2);
    store.leaves["/VMC/PrimCfg/ClassAmps/Value"] = text_element("9");
    store.leaves["/VMC/PrimCfg/NomFreq/Value"] = boolean_element(true);
    store.leaves["/VMIC/Enclosure/Value"] = number_element(4); // shown as [None]
    SettingsSession session;
    const std::string screen = menu_on(session, "0\n");
    CHECK(shows(screen, " Velmora II Settings "));
    CHECK(shows(screen, "\n 1.  Serial Number                   :  091512345 "));
    CHECK(shows(screen, "\n 2.  Options List                    :  WEB "));
    CHECK(shows(screen, "\n 3.  Meter Form                      :  2 = Form 8 "));
    CHECK(shows(screen, "\n 4.  Meter Class Amps                :  9 IS INVALID!!! "));
    CHECK(shows(screen, "\n 5.  Meter Frequency                 :  true = 50 Hz "));
    CHECK(shows(screen, "\n 6.  Enclosure Type                  :  [None] "));
    CHECK(shows(screen, "\n\n 7.  Clear Velmora II Options List "));
    CHECK(shows(screen, "\n\n 8.  Reset to Factory Defaults "));
    CHECK(shows(screen, "\n\n 0.  Exit to previous menu "));
}

TEST_CASE("a failed read warns and keeps all six texts")
{
    for (const int result : {-1, 3}) {
        fresh_store().results["get_leaves"] = {result};
        SettingsSession session;
        session.serial_number.text = "kept";
        const std::string screen = menu_on(session, "0\n");
        CHECK(screen.substr(0, 45) == "Warning: couldn't read Velmora II settings!\n\n");
        CHECK(shows(screen, ":  kept "));
    }
}

TEST_CASE("each choice opens its own entry")
{
    const char* prompts[] = {"Enter Serial Number (YYMMXXXXX): ",
                             "Enter Options List: ",
                             "Enter Meter Form: ",
                             "Enter Meter Class Amps: ",
                             "Enter Meter Frequency: ",
                             "Enter Meter Enclossure Type: ",
                             "Clear Velmora II Options List? (y/n): ",
                             "Reset all to Factory Defaults? (y/n): "};
    for (int choice = 1; choice <= 8; ++choice) {
        fresh_store();
        SettingsSession session;
        const std::string screen = menu_on(session, std::to_string(choice) + "\n\n0\n");
        for (int other = 1; other <= 8; ++other)
            CHECK(shows(screen, prompts[other - 1]) == (other == choice));
        CHECK(fake_store.calls.size() == 2); // one read in each of two passes, and no write
    }
}

TEST_CASE("the next pass keeps an edit, but reloads a value that was only emptied")
{
    FakeStore& store = fresh_store();
    store.leaves["/VMC/PrimCfg/Form/Value"] = number_element(2);
    SettingsSession session;
    menu_on(session, "3\n~\n0\n");
    CHECK(session.meter_form.text == "2");
    menu_on(session, "3\n4\n0\n");
    CHECK(session.meter_form.text == "4");
    CHECK(session.meter_form.changed);
    menu_on(session, "3\n~\n0\n");
    CHECK(session.meter_form.text == "");
    CHECK(session.meter_form.changed);
}

TEST_CASE("clearing the options asks first, and prints whether it succeeded")
{
    SettingsSession session;
    fresh_store();
    CHECK(shows(menu_on(session, "7\ny\n0\n"), "y\nVelmora II Options list cleared.\n\n\n-"));
    CHECK(fake_store.calls.size() == 3);
    fresh_store().results["set_leaves"] = {1};
    CHECK(shows(menu_on(session, "7\nY\n0\n"),
                "Y\nError while setting default options for Velmora II.\n\n\n-"));
    fresh_store();
    CHECK(shows(menu_on(session, "7\nn\n0\n"), "(y/n): n\n\n\n-"));
    CHECK(fake_store.calls.size() == 2);
}

TEST_CASE("a factory reset closes the store, runs its script, and opens the store again")
{
    FakeStore& store = fresh_store();
    std::string before;
    store.before_command = [&] { before = console_so_far(); };
    SettingsSession session;
    const std::string screen = menu_on(session, "8\ny\n0\n");
    CHECK(store.calls == std::vector<std::string>{read_call, "pcd_close",
                                                  "system fw_reset.sh > /dev/null 2>&1", "pcd_init",
                                                  read_call});
    const std::string waiting = "y\nRestoring defaults: please wait...\n";
    CHECK(before.substr(before.size() - waiting.size()) == waiting);
    CHECK(shows(screen, waiting + "Settings reset to defaults.\n\n\n-"));
}

TEST_CASE("neither a factory reset nor clearing the options changes the batch of the next save")
{
    FakeStore& store = fresh_store();
    begin_option_batch();
    add_option_leaf("/untouched", true);
    set_options_pending(true);
    SettingsSession session;
    menu_on(session, "7\ny\n8\ny\n0\n");
    CHECK(are_options_pending());
    set_options_pending(false);
    write_option_batch();
    CHECK(store.calls.back() == "set_leaves /untouched=true/1 \"\"");
}

TEST_CASE("the last message of a factory reset is on the screen before the store is opened again")
{
    FakeStore& store = fresh_store();
    std::string before;
    store.before_connect = [&] { before = console_so_far(); };
    SettingsSession session;
    menu_on(session, "8\ny\n0\n");
    const std::string message = "please wait...\nSettings reset to defaults.\n";
    REQUIRE(before.size() > message.size());
    CHECK(before.substr(before.size() - message.size()) == message);
}

TEST_CASE("when the store cannot be opened again, the menu ends")
{
    FakeStore& store = fresh_store();
    store.before_command = [&] { store.reachable = false; };
    SettingsSession session;
    const std::string screen = menu_on(session, "8\ny\n");
    const std::string tail = "Settings reset to defaults.\nError: can't connect to CDS\n";
    CHECK(screen.substr(screen.size() - tail.size()) == tail);
    CHECK(store.calls.back() == "pcd_init");
}

TEST_CASE("an unanswered question about the options or the defaults changes nothing")
{
    for (const char* choice : {"7", "8"}) {
        for (const char* waits : {"kkt", "kkf"}) {
            fresh_store();
            SettingsSession session;
            const std::string screen = console_of(
                choice + std::string("\n0\n"), [&] { run_init_menu(session); }, waits);
            CHECK(shows(screen, "? (y/n): \n\n\n-"));
            CHECK(fake_store.calls == std::vector<std::string>{read_call, read_call});
        }
    }
}

TEST_CASE("a reset that is not confirmed does not close the store")
{
    fresh_store();
    SettingsSession session;
    const std::string screen = menu_on(session, "8\nn\n0\n");
    CHECK(shows(screen, "Reset all to Factory Defaults? (y/n): n\n\n\n-"));
    CHECK(fake_store.calls == std::vector<std::string>{read_call, read_call});
}
