#include "network/port_menu.h"

#include "console/line_reader.h"
#include "console/menu.h"
#include "console/number_scan.h"
#include "console/value_entry.h"
#include "store/leaf_loader.h"

#include <cstdio>

namespace
{

void load_port(InterfaceSettings& port)
{
    if (!load_leaves(port_leaves, port))
        std::puts("Warning: couldn't read interface settings!");
}

int show_port_menu(const InterfaceSettings& port)
{
    std::vector<MenuSection> sections(1);
    add_line(sections.back(), "Dynamic Addressing (DHCP)", enabled_or_disabled(port.dhcp));
    add_text_line(sections.emplace_back(), "IP Address", port.ip_address);
    add_text_line(sections.back(), "Subnet Mask", port.subnet_mask);
    add_text_line(sections.back(), "Default Gateway", port.default_gateway);
    add_text_line(sections.back(), "Media Type", port.media_type, media_type_if_empty);
    add_text_line(sections.emplace_back(), "MAC Address", port.mac_address);
    add_line(sections.back(), "Link Status", enabled_or_disabled(port.link_enabled));
    return show_menu("Network Settings: Ethernet Port " + std::to_string(port.number), sections,
                     {true, true, false}, "Exit to previous menu");
}

void enter_dhcp(InterfaceSettings& port)
{
    report_no_answer(prompt_yes_no("Enable DHCP? (y/n)", port.dhcp), "Error: invalid response");
}

// Asks for the subnet mask. If the technician empties the mask, stores the mask of a class C
// network.
void enter_subnet_mask(InterfaceSettings& port)
{
    if (enter_address("Enter Subnet Mask", port.subnet_mask) && port.subnet_mask.text.empty())
        assign_text(port.subnet_mask, "255.255.255.0", true);
}

std::string media_type_prompt(const std::vector<std::string>& types)
{
    std::string prompt = "\nAvailable media types:\n\n0) Auto-negotiate (recommended)\n";
    for (std::size_t i = 0; i < types.size(); ++i)
        prompt += std::to_string(i + 1) + ") " + types[i] + "\n";
    return prompt + "\nSelect an option (0-" + std::to_string(types.size()) + ") ==>  ";
}

// Stores the media type with the number `reply`, or an empty text for the number 0, and returns
// true. Returns false when `reply` is not the number of a choice. In that case `media_type` is
// unchanged.
bool take_media_type(const std::string& reply, const std::vector<std::string>& types,
                     EditableText& media_type)
{
    const long number = scan_whole_number(reply).value_or(no_choice);
    if (number < 0 || number > static_cast<long>(types.size()))
        return false;
    const auto choice = static_cast<std::size_t>(number);
    assign_text(media_type, choice == 0 ? "" : types[choice - 1], true);
    return true;
}

void enter_media_type(InterfaceSettings& port)
{
    std::vector<std::string> types;
    toolkit::CElement::split_string(types, port.supported_media_types.text, ';');

    std::string reply;
    int result = prompt_line(media_type_prompt(types), reply);
    if (result == answer_taken && !take_media_type(reply, types, port.media_type))
        result = answer_rejected;
    report_no_answer(result, "Error: invalid selection");
}

} // namespace

const char* enabled_or_disabled(const EditableFlag& flag)
{
    return flag.value ? "Enabled" : "Disabled";
}

void run_port_menu(InterfaceSettings& port)
{
    for (;;) {
        load_port(port);
        switch (show_port_menu(port)) {
        case 0: return;
        case 1: enter_dhcp(port); break;
        case 2: enter_address("Enter IP Address", port.ip_address); break;
        case 3: enter_subnet_mask(port); break;
        case 4: enter_address("Enter Default Gateway", port.default_gateway); break;
        case 5: enter_media_type(port); break;
        default: break; // no_choice: the loop draws the menu again
        }
    }
}
