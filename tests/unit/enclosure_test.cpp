#include "meterinit/enclosure.h"

#include "tests/unit/fake_console.h"

#include <doctest/doctest.h>

namespace
{

const std::string help = "Below are the Meter Enclosure Types; Enter the abbreviated string.\n\n"
                         "ENCLOSURE TYPE      VALUE TO BE ENTERED\n"
                         "-----------------   -------------------\n"
                         "S Base              ---> S \t\n"
                         "A Base              ---> A \t\n"
                         "Switchboard         ---> R \t\n"
                         "IEC Meter           ---> I \t\n"
                         "19 inch Rack Meter  ---> RK\t\n"
                         "K1 Tall Retrofit    ---> K1  \n"
                         "K1 Front Retrofit   ---> K1F \n"
                         "K2 Retrofit         ---> K2  \n"
                         "K10 Retrofit        ---> K10 \n"
                         "KS Retrofit         ---> KS  \n"
                         "Type Q Retrofit     ---> Q \t\n"
                         "Type Q4 Retrofit    ---> Q4  \n"
                         "Type TD Retrofit    ---> TD  \n"
                         "Type G1 Retrofit    ---> G1  \n"
                         "Type G2 Retrofit    ---> G2  \n"
                         "Type G3 Retrofit    ---> G3  \n"
                         "Type G4 Retrofit    ---> G4  \n"
                         "Type G5 Retrofit    ---> G5  \n"
                         "Type G6 Retrofit    ---> G6  \n"
                         "Type W Retrofit     ---> W \t\n\n";
const std::string prompt = "Enter Meter Enclossure Type: ";

struct EnclosureEntry {
    EditableText enclosure = {"before", false};
    std::string screen;
};

EnclosureEntry entered(const std::string& keys)
{
    EnclosureEntry entry;
    entry.screen = console_of(keys, [&] { enter_enclosure(entry.enclosure); });
    return entry;
}

} // namespace

TEST_CASE("each enclosure code is accepted and stored")
{
    for (const char* code : {"S", "A",  "R",  "I",  "RK", "K1", "K1F", "K2", "K10", "KS",
                             "Q", "Q4", "TD", "G1", "G2", "G3", "G4",  "G5", "G6",  "W"}) {
        const EnclosureEntry entry = entered(code + std::string("\n"));
        CHECK(entry.screen == help + prompt + code + "\nFound valid match.\n");
        CHECK(entry.enclosure.text == code);
        CHECK(entry.enclosure.changed);
    }
}

TEST_CASE("after an unknown code the question is repeated with an error, without the help")
{
    for (const char* code :
         {"s", "rk", " S", "S ", "K1 ", "K", "K11", "~", "G7", "RKX", "KS Retrofit"}) {
        const EnclosureEntry entry = entered(code + std::string("\nW\n"));
        CHECK(entry.screen == help + prompt + code + "\nError: " + code +
                                  " is NOT a valid enclosure type.\n" + prompt +
                                  "W\nFound valid match.\n");
        CHECK(entry.enclosure.text == "W");
    }
}

TEST_CASE("entering the same enclosure again sets the changed flag")
{
    EditableText enclosure = {"W", false};
    console_of("W\n", [&] { enter_enclosure(enclosure); });
    CHECK(enclosure.changed);
}

TEST_CASE("an empty answer changes nothing and prints so in one line")
{
    const EnclosureEntry entry = entered("zz\n\n");
    CHECK(entry.screen == help + prompt + "zz\nError: zz is NOT a valid enclosure type.\n" +
                              prompt +
                              "\n\nNothing entered; no change.Error: Invalid Enclosure type\n");
    CHECK(entry.enclosure.text == "before");
    CHECK_FALSE(entry.enclosure.changed);
}

TEST_CASE("a failed wait asks again without a message")
{
    EditableText enclosure = {"before", false};
    CHECK(console_of(
              "K1\n", [&] { enter_enclosure(enclosure); }, "ff") ==
          help + prompt + "\n" + prompt + "\n" + prompt + "K1\nFound valid match.\n");
    CHECK(enclosure.text == "K1");
    CHECK(enclosure.changed);
}

TEST_CASE("a time-out leaves the enclosure unchanged, whatever was typed")
{
    for (const char* wait : {"t", "kkt"}) {
        EditableText enclosure = {"before", false};
        const std::string screen = console_of(
            "K1\n", [&] { enter_enclosure(enclosure); }, wait);
        CHECK(screen.substr(screen.size() - 12) == "\nTimed out.\n");
        CHECK(enclosure.text == "before");
        CHECK_FALSE(enclosure.changed);
    }
}
