#include "meterinit/init_menu.h"

#include "console/command.h"
#include "console/line_reader.h"
#include "console/menu.h"
#include "console/value_entry.h"
#include "meterinit/enclosure.h"
#include "meterinit/meter_identity.h"
#include "meterinit/option_leaves.h"
#include "meterinit/options_list.h"
#include "store/connection.h"
#include "store/leaf_loader.h"

#include <cstdio>

namespace
{

void load_identity(SettingsSession& session)
{
    if (!load_leaves(init_leaves, session))
        std::puts("Warning: couldn't read Velmora II settings!");
}

void add_indexed_line(MenuSection& section, const IndexedSetting& setting,
                      const SettingsSession& session)
{
    add_line(section, setting.label, indexed_value(setting, session.*setting.text));
}

int show_init_menu(const SettingsSession& session)
{
    std::vector<MenuSection> sections(1);
    add_text_line(sections.back(), "Serial Number", session.serial_number);
    add_text_line(sections.back(), "Options List", session.options_list);
    add_indexed_line(sections.back(), meter_form_setting, session);
    add_indexed_line(sections.back(), class_amps_setting, session);
    add_indexed_line(sections.back(), frequency_setting, session);
    add_text_line(sections.back(), "Enclosure Type", session.enclosure);
    add_line(sections.emplace_back(), "Clear Velmora II Options List");
    add_line(sections.emplace_back(), "Reset to Factory Defaults");
    return show_menu("Velmora II Settings", sections, {true, true, true}, "Exit to previous menu");
}

void clear_options_list()
{
    if (!confirmed("Clear Velmora II Options List? (y/n)"))
        return;
    std::puts(clear_option_leaves() == 0 ? "Velmora II Options list cleared."
                                         : "Error while setting default options for Velmora II.");
}

// After a yes, disconnects from the store, runs the script that replaces the store, and connects
// again. Returns false only when the program cannot connect again.
bool reset_to_factory_defaults()
{
    if (!confirmed("Reset all to Factory Defaults? (y/n)"))
        return true;
    cds_disconnect();
    std::puts("Restoring defaults: please wait...");
    run_command(Command::restore_defaults);
    std::puts("Settings reset to defaults.");
    std::fflush(stdout); // before `cds_connect`, which may print a message
    if (cds_connect() == 0)
        return true;
    std::puts("Error: can't connect to CDS");
    return false;
}

} // namespace

void run_init_menu(SettingsSession& session)
{
    for (;;) {
        load_identity(session);
        switch (show_init_menu(session)) {
        case 0: return;
        case 1: enter_serial_number(session.serial_number); break;
        case 2: enter_options_list(session); break;
        case 3: enter_indexed_value(meter_form_setting, session); break;
        case 4: enter_indexed_value(class_amps_setting, session); break;
        case 5: enter_indexed_value(frequency_setting, session); break;
        case 6: enter_enclosure(session.enclosure); break;
        case 7: clear_options_list(); break;
        case 8:
            if (!reset_to_factory_defaults())
                return;
            break;
        default: break; // no_choice: the loop draws the menu again
        }
    }
}
