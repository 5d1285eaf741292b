#include "console/menu.h"

#include "console/line_reader.h"
#include "console/number_scan.h"

#include <cstdio>

namespace
{

constexpr std::size_t screen_width = 78;

// A line of dashes across the whole screen.
constexpr char frame_rule[] = "------------------------------------------------------------------"
                              "------------";
static_assert(sizeof frame_rule - 1 == screen_width);

// Draws the title in the middle of a line of dashes. If the number of dashes is odd, the right side
// gets the extra dash. Deliberate: a title that is too long for the screen has a full line of
// dashes on each side, so its line is wider than the screen.
void draw_title(const std::string& title)
{
    std::size_t left = screen_width;
    std::size_t right = screen_width;
    if (title.size() + 2 <= screen_width) {
        const std::size_t dashes = screen_width - 2 - title.size();
        left = dashes / 2;
        right = dashes - left;
    }
    std::puts("");
    std::puts("");
    std::puts(frame_rule);
    std::printf("%.*s %s %.*s\n", static_cast<int>(left), frame_rule, title.c_str(),
                static_cast<int>(right), frame_rule);
    std::printf("%s\n\n", frame_rule);
}

void draw_numbered_line(unsigned number, const MenuLine& line)
{
    if (line.value.empty())
        std::printf("%2u.  %-73s\n", number, line.label.c_str());
    else
        std::printf("%2u.  %-30s  :  %-38s\n", number, line.label.c_str(), line.value.c_str());
}

void draw_plain_line(const MenuLine& line)
{
    if (line.value.empty())
        std::printf("     %-73s\n", line.label.c_str());
    else
        std::printf("     %-30s  :  %-38s\n", line.label.c_str(), line.value.c_str());
}

// Returns the number of lines that got a number.
unsigned draw_sections(const std::vector<MenuSection>& sections, const std::vector<bool>& numbered)
{
    unsigned count = 0;
    for (std::size_t i = 0; i < sections.size(); ++i) {
        for (const MenuLine& line : sections[i]) {
            if (numbered[i])
                draw_numbered_line(++count, line);
            else
                draw_plain_line(line);
        }
        std::puts("");
    }
    return count;
}

// Returns the number in `answer`, or no_choice when `answer` is not the number of a choice.
int chosen_number(const std::string& answer, unsigned count, bool has_exit)
{
    const long number = scan_whole_number(answer).value_or(no_choice);
    if (number < (has_exit ? 0 : 1) || number > static_cast<long>(count))
        return no_choice;
    return static_cast<int>(number);
}

} // namespace

void add_line(MenuSection& section, const std::string& label, const std::string& value)
{
    section.push_back({label, value});
}

void add_text_line(MenuSection& section, const char* label, const EditableText& value,
                   const char* if_empty)
{
    add_line(section, label, value.text.empty() ? if_empty : value.text);
}

int show_menu(const std::string& title, const std::vector<MenuSection>& sections,
              const std::vector<bool>& numbered, const std::string& exit_label)
{
    draw_title(title);
    const unsigned count = draw_sections(sections, numbered);
    if (!exit_label.empty())
        std::printf(" 0.  %-73s\n\n", exit_label.c_str());
    std::fputs("Select an option ==>  ", stdout);
    std::fflush(stdout);

    std::string answer;
    if (read_line_timed(answer, idle_seconds) != answer_taken)
        return no_choice;
    const int choice = chosen_number(answer, count, !exit_label.empty());
    if (choice == no_choice)
        std::puts("\nError: Invalid selection\n");
    return choice;
}
