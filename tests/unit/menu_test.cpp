#include "console/menu.h"

#include "tests/unit/fake_console.h"

#include <doctest/doctest.h>

namespace
{

const std::string rule(78, '-');

struct Shown {
    int choice;
    std::string screen;
};

Shown menu_of(const std::string& keys, const std::string& title,
              const std::vector<MenuSection>& sections, const std::vector<bool>& numbered,
              const std::string& exit_label)
{
    Shown shown = {77, ""};
    shown.screen =
        console_of(keys, [&] { shown.choice = show_menu(title, sections, numbered, exit_label); });
    return shown;
}

std::string title_line(const std::string& title)
{
    const std::string screen = menu_of("\n", title, {}, {}, "").screen;
    const std::size_t start = 2 + rule.size() + 1;
    return screen.substr(start, screen.find('\n', start) - start);
}

// Types `answer` in a menu of three numbered lines. Returns the choice that the menu returns.
int choice_of(const std::string& answer, const std::string& exit_label = "Exit")
{
    return menu_of(answer + "\n", "T", {{{"a", ""}, {"b", ""}}, {{"c", ""}}}, {true, true},
                   exit_label)
        .choice;
}

std::string padded(const std::string& text, std::size_t width)
{
    return text + std::string(width > text.size() ? width - text.size() : 0, ' ');
}

} // namespace

TEST_CASE("a menu is drawn with its frame, its sections and its exit line")
{
    const Shown shown = menu_of("2\n", "Title",
                                {{{"First", ""}, {"Second", "value"}},
                                 {{"Plain", ""}, {"Valued", "more"}},
                                 {{"Third", ""}}},
                                {true, false, true}, "Exit");
    CHECK(shown.choice == 2);
    CHECK(shown.screen ==
          "\n\n" + rule + "\n" + std::string(35, '-') + " Title " + std::string(36, '-') + "\n" +
              rule + "\n\n"                                                             //
              + " 1.  " + padded("First", 73) + "\n"                                    //
              + " 2.  " + padded("Second", 30) + "  :  " + padded("value", 38) + "\n\n" //
              + "     " + padded("Plain", 73) + "\n" + "     " + padded("Valued", 30) + "  :  " +
              padded("more", 38) + "\n\n"              //
              + " 3.  " + padded("Third", 73) + "\n\n" //
              + " 0.  " + padded("Exit", 73) + "\n\n" + "Select an option ==>  2\n");
}

TEST_CASE("without an exit label there is no exit line")
{
    const Shown shown = menu_of("1\n", "T", {{{"a", ""}}}, {true}, "");
    CHECK(shown.screen.find("0.") == std::string::npos);
    CHECK(shown.screen.find(padded("a", 73) + "\n\nSelect an option ==>  ") != std::string::npos);
}

TEST_CASE("a title is centred, with the odd dash on its right")
{
    CHECK(title_line("abcd") == std::string(36, '-') + " abcd " + std::string(36, '-'));
    CHECK(title_line("abcde") == std::string(35, '-') + " abcde " + std::string(36, '-'));
    CHECK(title_line("") == std::string(38, '-') + "  " + std::string(38, '-'));
}

TEST_CASE(
    "a title that fills the line has spaces and no dashes, a longer one has the whole rule twice")
{
    const std::string title_75(75, 't');
    CHECK(title_line(title_75) == " " + title_75 + " -");
    const std::string title_76(76, 't');
    CHECK(title_line(title_76) == " " + title_76 + " ");
    for (const std::size_t length : {77U, 78U, 79U, 200U}) {
        const std::string title(length, 't');
        CHECK(title_line(title) == rule + " " + title + " " + rule);
    }
}

TEST_CASE("labels and values are never truncated")
{
    const std::string label(31, 'l');
    const std::string value(39, 'v');
    const std::string wide(74, 'w');
    const Shown shown =
        menu_of("\n", "T", {{{label, value}, {wide, ""}}, {{label, value}, {wide, ""}}},
                {true, false}, wide);
    CHECK(shown.screen.find(" 1.  " + label + "  :  " + value + "\n 2.  " + wide + "\n\n     " +
                            label + "  :  " + value + "\n     " + wide + "\n\n 0.  " + wide +
                            "\n\n") != std::string::npos);
}

TEST_CASE("numbers continue across sections and are right-aligned to two digits")
{
    const MenuSection six = {{"x", ""}, {"x", ""}, {"x", ""}, {"x", ""}, {"x", ""}, {"x", ""}};
    const Shown shown = menu_of("12\n", "T", {six, {{"info", ""}}, six}, {true, false, true}, "");
    CHECK(shown.choice == 12);
    CHECK(shown.screen.find("\n 9.  x") != std::string::npos);
    CHECK(shown.screen.find("\n10.  x") != std::string::npos);
    CHECK(shown.screen.find("\n12.  x") != std::string::npos);
    CHECK(shown.screen.find("13.") == std::string::npos);
}

TEST_CASE("a choice is a number from 0 to the last line")
{
    CHECK(choice_of("0") == 0);
    CHECK(choice_of("1") == 1);
    CHECK(choice_of("3") == 3);
    CHECK(choice_of(" 3") == 3);
    CHECK(choice_of("+3") == 3);
    CHECK(choice_of("003") == 3);
    CHECK(choice_of("-0") == 0);
}

TEST_CASE("anything else is no choice")
{
    for (const char* answer : {"", " ", "4", "-1", "3 ", "3a", "a", "+", "4294967297", "4294967296",
                               "99999999999999999999", "-99999999999999999999", "1.0", "0x1"}) {
        CAPTURE(answer);
        CHECK(choice_of(answer) == no_choice);
    }
}

TEST_CASE("0 is no choice without an exit label")
{
    CHECK(choice_of("0", "") == -1);
    CHECK(choice_of("1", "") == 1);
}

TEST_CASE("a menu without choices or exit accepts no answer")
{
    for (const char* answer : {"0", "1", ""}) {
        const Shown shown = menu_of(answer + std::string("\n"), "T", {{{"a", ""}}, {{"b", "c"}}},
                                    {false, false}, "");
        CHECK(shown.choice == no_choice);
        CHECK(shown.screen.find("\nError: Invalid selection\n\n") != std::string::npos);
    }
}

TEST_CASE("an invalid answer is reported between empty lines")
{
    const Shown shown = menu_of("9\n", "T", {{{"a", ""}}}, {true}, "Exit");
    const std::string tail = "Select an option ==>  9\n\nError: Invalid selection\n\n";
    REQUIRE(shown.screen.size() > tail.size());
    CHECK(shown.screen.substr(shown.screen.size() - tail.size()) == tail);
}

TEST_CASE("the wait for a choice is 30 seconds; after a time-out nothing is printed")
{
    for (const char* wait : {"t", "f"}) {
        int choice = 77;
        timeval given = {};
        const std::string screen = console_of(
            "1\n",
            [&] {
                choice = show_menu("T", {{{"a", ""}}}, {true}, "Exit");
                given = waits_so_far().at(0).time;
            },
            wait);
        CHECK(choice == no_choice);
        CHECK(given.tv_sec == 30);
        CHECK(given.tv_usec == 0);
        const std::string tail = " 0.  " + padded("Exit", 73) + "\n\nSelect an option ==>  \n";
        REQUIRE(screen.size() > tail.size());
        CHECK(screen.substr(screen.size() - tail.size()) == tail);
    }
}
