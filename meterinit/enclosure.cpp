#include "meterinit/enclosure.h"

#include "console/line_reader.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace
{

struct EnclosureType {
    char label[19];
    char code[4];
    char tail[4]; // spaces and tabs at the end of the row
};

// Deliberate: the rows end with different spaces and tabs. Scripts compare the screen byte by byte.
// clang-format off
constexpr EnclosureType enclosure_codes[] = {
    {"S Base",             "S",   " \t"},
    {"A Base",             "A",   " \t"},
    {"Switchboard",        "R",   " \t"},
    {"IEC Meter",          "I",   " \t"},
    {"19 inch Rack Meter", "RK",  "\t"},
    {"K1 Tall Retrofit",   "K1",  "  "},
    {"K1 Front Retrofit",  "K1F", " "},
    {"K2 Retrofit",        "K2",  "  "},
    {"K10 Retrofit",       "K10", " "},
    {"KS Retrofit",        "KS",  "  "},
    {"Type Q Retrofit",    "Q",   " \t"},
    {"Type Q4 Retrofit",   "Q4",  "  "},
    {"Type TD Retrofit",   "TD",  "  "},
    {"Type G1 Retrofit",   "G1",  "  "},
    {"Type G2 Retrofit",   "G2",  "  "},
    {"Type G3 Retrofit",   "G3",  "  "},
    {"Type G4 Retrofit",   "G4",  "  "},
    {"Type G5 Retrofit",   "G5",  "  "},
    {"Type G6 Retrofit",   "G6",  "  "},
    {"Type W Retrofit",    "W",   " \t\n"},
};
// clang-format on

void show_help()
{
    std::puts("Below are the Meter Enclosure Types; Enter the abbreviated string.\n");
    std::puts("ENCLOSURE TYPE      VALUE TO BE ENTERED");
    std::puts("-----------------   -------------------");
    for (const EnclosureType& type : enclosure_codes)
        std::printf("%-20s---> %s%s\n", type.label, type.code, type.tail);
}

bool is_enclosure_code(const std::string& answer)
{
    return std::any_of(std::begin(enclosure_codes), std::end(enclosure_codes),
                       [&](const EnclosureType& type) { return answer == type.code; });
}

} // namespace

void enter_enclosure(EditableText& enclosure)
{
    show_help();
    for (;;) {
        std::string answer;
        const int result =
            prompt_line("Enter Meter Enclossure Type", answer); // deliberate: misspells "Enclosure"
        if (result == answer_timed_out) {
            report_no_answer(result, nullptr);
            return;
        }
        if (result == answer_rejected)
            continue;
        if (answer.empty()) {
            std::fputs("\nNothing entered; no change.", stdout);
            std::puts("Error: Invalid Enclosure type");
            return;
        }
        if (is_enclosure_code(answer)) {
            std::puts("Found valid match.");
            assign_text(enclosure, answer, true);
            return;
        }
        std::printf("Error: %s is NOT a valid enclosure type.\n", answer.c_str());
    }
}
