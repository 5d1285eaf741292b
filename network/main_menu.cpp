#include "network/main_menu.h"

#include "console/command.h"
#include "console/line_reader.h"
#include "console/menu.h"
#include "console/value_entry.h"
#include "meterinit/init_menu.h"
#include "network/port_menu.h"
#include "network/save.h"
#include "store/leaf_loader.h"

#include <cstdio>

namespace
{

void load_name_servers(SettingsSession& session)
{
    if (!load_leaves(dns_leaves, session))
        std::puts("Warning: couldn't read network settings!");
}

int show_main_menu(const SettingsSession& session)
{
    const bool changed = any_changed(session);
    std::vector<MenuSection> sections(3);
    for (std::size_t i = 1; i <= session.interfaces.size(); ++i)
        add_line(sections[0], "Ethernet Port " + std::to_string(i) + " Settings");
    add_text_line(sections[1], "DNS Server (Primary)", session.primary_dns);
    add_text_line(sections[1], "DNS Server (Secondary)", session.secondary_dns);
    add_line(sections[2], "Reset all passwords to Factory Defaults");
    if (session.init_menu_requested)
        add_line(sections.emplace_back(), "Velmora II Initialization (Serial and Options List)");
    if (changed)
        add_line(sections.emplace_back(), "Save & apply all settings");

    const std::vector<bool> numbered(sections.size(), true);
    return show_menu("Velmora II Settings", sections, numbered,
                     changed ? "Exit without saving" : "Exit");
}

void reset_passwords()
{
    if (!confirmed("Reset all passwords ? (y/n)"))
        return;
    std::puts("Restoring defaults: please wait...");
    run_command(Command::reset_passwords);
    std::puts("Passwords reset to defaults.");
}

// Returns true when the program may leave the main menu. If there are unsaved edits, the program
// asks first, and only a yes discards the edits. After a time-out the program stays in the menu.
bool may_leave(const SettingsSession& session)
{
    return !any_changed(session) || confirmed("Exit without saving? (y/n)");
}

// Carries out a choice other than 0. Deliberate: every number without a case of its own saves, even
// when the screen does not show the save line.
void act_on_main_choice(SettingsSession& session, int choice)
{
    const auto number = static_cast<std::size_t>(choice);
    const std::size_t port_count = session.interfaces.size();
    if (number <= port_count)
        run_port_menu(session.interfaces[number - 1]);
    else if (number == port_count + 1)
        enter_address("Enter Primary DNS Server", session.primary_dns);
    else if (number == port_count + 2)
        enter_address("Enter Secondary DNS Server", session.secondary_dns);
    else if (number == port_count + 3)
        reset_passwords();
    else if (session.init_menu_requested && choice == 5) // deliberate: 5, not port_count + 4
        run_init_menu(session);
    else
        save_and_apply(session);
}

} // namespace

void run_main_menu(SettingsSession& session)
{
    for (;;) {
        load_name_servers(session);
        const int choice = show_main_menu(session);
        if (choice == 0 && may_leave(session))
            return;
        if (choice > 0)
            act_on_main_choice(session, choice);
    }
}
