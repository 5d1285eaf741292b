#include "tests/fuzz/option_grammar.h"

#include <algorithm>
#include <cctype>
#include <sstream>

namespace
{

// One way of answering a group: the word, and the leaves that it gives, in order.
struct Member {
    const char* word;
    const char* leaves;
};

// Options of which only one may be given. A single option is a group of one without a message.
struct Group {
    const char* message;
    const char* absent; // the leaves of a list with none of the members
    std::vector<Member> members;
};

// Groups in the order in which their leaves come, members in the order in which they are taken.
// Ahead of power quality, and after it.
const std::vector<Group> first_groups = {
    {"Serial Ports (1A, 1B or 1C)",
     "Serial/1 F, Serial/2 F, Serial/3 F",
     {{"1A", "Serial/3 T, Serial/1 F, Serial/2 F"},
      {"1B", "Serial/1 T, Serial/2 T, Serial/3 F"},
      {"1C", "Serial/1 T, Serial/2 T, Serial/3 T"}}},
    {"Ethernet/Wifi Ports (2A, 2B or 2C)",
     "Ethernet/1 F, Ethernet/2 F, Ethernet/Wifi F",
     {{"2A", "Ethernet/1 T, Ethernet/2 F, Ethernet/Wifi F"},
      {"2B", "Ethernet/1 T, Ethernet/2 T, Ethernet/Wifi F"},
      {"2C", "Ethernet/1 T, Ethernet/Wifi T, Ethernet/2 F"}}},
    {"Modem (3A, 3B, 3C or 3D)",
     "Modem/Analog F, Modem/CellGSM F, Modem/CellSprint F, Modem/CellVerison F",
     {{"3A", "Modem/Analog T, Modem/CellGSM F, Modem/CellSprint F, Modem/CellVerison F"},
      {"3B", "Modem/CellGSM T, Modem/Analog F, Modem/CellSprint F, Modem/CellVerison F"},
      {"3C", "Modem/CellSprint T, Modem/Analog F, Modem/CellGSM F, Modem/CellVerison F"},
      {"3D", "Modem/CellVerison T, Modem/Analog F, Modem/CellGSM F, Modem/CellSprint F"}}},
    {nullptr, "ExternAntenna F", {{"4", "ExternAntenna T"}}},
    {nullptr, "CommRepeater F", {{"5", "CommRepeater T"}}},
    {nullptr, "PhoneHomeOnPowerFail F", {{"6", "PhoneHomeOnPowerFail T"}}},
    {"Digital I/O (7A or 7B)",
     "IntDIO/6Ch F, IntDIO/6ChwPS F",
     {{"7A", "IntDIO/6Ch T, IntDIO/6ChwPS F"}, {"7B", "IntDIO/6Ch T, IntDIO/6ChwPS T"}}},
    {"Analog I/O (8A or 8B)",
     "IntAO/0_1ma F, IntAO/4_20ma F",
     {{"8A", "IntAO/0_1ma T, IntAO/4_20ma F"}, {"8B", "IntAO/4_20ma T, IntAO/0_1ma F"}}},
    {"External I/O (9A, 9B or 9C)",
     "ExternIO/8ChDIO F, ExternIO/4ChAI F, ExternIO/8DIOPlus4AI F",
     {{"9A", "ExternIO/8ChDIO T, ExternIO/4ChAI F, ExternIO/8DIOPlus4AI F"},
      {"9B", "ExternIO/4ChAI T, ExternIO/8ChDIO F, ExternIO/8DIOPlus4AI F"},
      {"9C", "ExternIO/8DIOPlus4AI T, ExternIO/8ChDIO F, ExternIO/4ChAI F"}}},
    {nullptr, "Web F", {{"WEB", "Web T"}}},
    {nullptr, "IEC61850 F", {{"IEC", "IEC61850 T"}}},
    {nullptr, "DLMS F", {{"DLMS", "DLMS T"}}},
    {nullptr, "IB F", {{"IB", "IB T"}}},
    {nullptr, "IEEE1588 F", {{"IEEE", "IEEE1588 T"}}},
    {nullptr, "NTP F", {{"NTP", "NTP T"}}},
    {nullptr, "PPS F", {{"PPS", "PPS T"}}},
    {nullptr, "DualLP F", {{"DLP", "DualLP T"}}},
    {nullptr, "ML F", {{"ML", "ML T"}}},
    {nullptr, "3P F", {{"THP", "3P T"}}},
    {nullptr, "EAP F", {{"EAP", "EAP T"}}},
    {nullptr, "DC F", {{"DC", "DC T"}}},
};
const std::vector<Group> last_groups = {
    {nullptr, "PMU F", {{"PMU", "PMU T"}}},
    {nullptr, "MID F", {{"MID", "MID T"}}},
};

std::string lower(std::string word)
{
    for (char& c : word)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return word;
}

// The pieces between the dashes, without the empty ones.
std::vector<std::string> pieces_of(const std::string& entry)
{
    std::vector<std::string> pieces;
    std::istringstream rest(entry);
    for (std::string piece; std::getline(rest, piece, '-');) {
        if (!piece.empty())
            pieces.push_back(piece);
    }
    return pieces;
}

// One check of an entry, as far as it has come.
struct Scan {
    std::vector<std::string> pieces;
    OptionsVerdict verdict;
    std::size_t characters = 0; // of the words found, a dash with each
    bool exclusive = false;     // two of one group
};

// A word counts once, wherever a piece begins with it; lower case is looked for only in a list
// without the upper-case form.
bool finds(Scan& scan, const std::string& word)
{
    for (const std::string& form : {word, lower(word)}) {
        for (const std::string& piece : scan.pieces) {
            if (piece.compare(0, form.size(), form) == 0) {
                scan.characters += form.size() + 1;
                return true;
            }
        }
    }
    return false;
}

// `leaves` names them below the options' branch, each with T or F.
void give(Scan& scan, const std::string& leaves)
{
    std::istringstream rest(leaves);
    for (std::string leaf; std::getline(rest >> std::ws, leaf, ',');)
        scan.verdict.leaves.push_back("/VMIC/Options/" + leaf.substr(0, leaf.size() - 2) +
                                      "/Value=" + (leaf.back() == 'T' ? "true" : "false"));
}

void complain_of_two(Scan& scan, const std::string& group)
{
    scan.verdict.told += "\nError: Enter only one option for " + group;
    scan.exclusive = true;
}

void scan_groups(Scan& scan, const std::vector<Group>& groups)
{
    for (const Group& group : groups) {
        bool taken = false;
        for (const Member& member : group.members) {
            if (!finds(scan, member.word))
                continue;
            if (taken)
                complain_of_two(scan, group.message);
            else
                give(scan, member.leaves);
            taken = true;
        }
        if (!taken)
            give(scan, group.absent);
    }
}

// Power quality tells in four words what the other groups tell in one. PQ3 is PQ1 and PQ2, the
// latter brings measurement logging with it, and PQR stands beside the others.
void scan_power_quality(Scan& scan)
{
    const std::string message = "Power Quality (PQ1, PQ2 or PQ3)";
    const bool ml_typed = std::find(scan.verdict.leaves.begin(), scan.verdict.leaves.end(),
                                    "/VMIC/Options/ML/Value=true") != scan.verdict.leaves.end();
    const bool first = finds(scan, "PQ1");
    const bool second = finds(scan, "PQ2");
    const bool third = finds(scan, "PQ3");
    bool capture = second && !first;

    if (first)
        give(scan, "PQ1 T, PQ2 F, PQ3 F");
    if (capture)
        give(scan, "PQ2 T, PQ1 F, PQ3 F");
    else if (second)
        complain_of_two(scan, message);
    if (third && (first || second)) {
        complain_of_two(scan, message);
    } else if (third) {
        give(scan, "PQ1 T, PQ2 T, PQ3 T");
        capture = true;
    }
    const bool any = first || second || third;
    give(scan, any ? "PQ T" : "PQ1 F, PQ2 F, PQ3 F");
    if (capture && !ml_typed)
        give(scan, "ML T");
    if (finds(scan, "PQR"))
        give(scan, "PQ T");
    else if (!any)
        give(scan, "PQ F");
}

// Whether the diagnosis takes the piece for an option: it knows all words but MID.
bool is_known(const std::string& piece)
{
    std::vector<std::string> words = {"PQR", "PQ1", "PQ2", "PQ3", "PMU"};
    for (const Group& group : first_groups) {
        for (const Member& member : group.members)
            words.push_back(member.word);
    }
    return std::any_of(words.begin(), words.end(), [&](const std::string& word) {
        return piece == word || piece == lower(word);
    });
}

} // namespace

OptionsVerdict judge_options(const std::string& entry)
{
    Scan scan;
    OptionsVerdict& verdict = scan.verdict;
    if (!entry.empty() && entry[0] == '~') {
        verdict.emptied = true;
        return verdict;
    }
    if (!entry.empty() && entry[0] == '-') {
        verdict.told = "\nError: Extra '-' at the beginning of the options list.";
        return verdict;
    }

    verdict.checked = true;
    scan.pieces = pieces_of(entry);
    scan_groups(scan, first_groups);
    scan_power_quality(scan);
    scan_groups(scan, last_groups);

    const std::size_t typed = entry.size() + 1; // with the dash that every option has before it
    verdict.taken = typed == scan.characters && !scan.exclusive;
    if (typed != scan.characters) {
        verdict.told += "Could be an error, totalChars=" + std::to_string(typed) +
                        ", validChars=" + std::to_string(scan.characters) + "\n";
        for (const std::string& piece : scan.pieces) {
            if (!is_known(piece))
                verdict.told += "\nError: " + piece + " is NOT a valid option.";
        }
    }
    if (!verdict.taken)
        verdict.told += "\nCheck the entry.\n";
    return verdict;
}
