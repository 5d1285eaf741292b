#include "simulator/toml_files.h"

#include <doctest/doctest.h>

#include <fstream>
#include <iterator>

using namespace simulator;

namespace
{

Leaves factory_leaves()
{
    std::ifstream file(FACTORY_FILE, std::ios::binary);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    Leaves leaves;
    std::string error;
    const bool parsed = parse_leaves(text, FACTORY_FILE, leaves, error);
    REQUIRE_MESSAGE(parsed, error);
    return leaves;
}

template <typename Type>
bool has(const Leaves& leaves, const std::string& path)
{
    const auto leaf = leaves.find(path + "/Value");
    return leaf != leaves.end() && std::holds_alternative<Type>(leaf->second);
}

bool is_on(const Leaves& leaves, const std::string& option)
{
    const auto leaf = leaves.find("/VMIC/Options/" + option + "/Value");
    return leaf != leaves.end() && leaf->second == LeafValue(true);
}

} // namespace

TEST_CASE("the shipped meter has every leaf of the utility, typed as the utility expects")
{
    const Leaves leaves = factory_leaves();
    const std::string network = "/Software/System Settings/Network/";
    for (const char* name :
         {"Name Server/1", "Name Server/2", "Interface/1/IP Address", "Interface/1/Subnet Mask",
          "Interface/1/Default Gateway", "Interface/1/MAC Address",
          "Interface/1/Media Type/Supported Types", "Interface/1/Media Type/Current Type"}) {
        CAPTURE(name);
        CHECK(has<std::string>(leaves, network + name));
    }
    for (const char* name : {"Interface/1/DHCP Enabled", "Interface/1/Link Enabled"})
        CHECK(has<bool>(leaves, network + name));
    for (const char* name : {"IPAddress", "SubnetMask", "DefaultGateway"})
        CHECK(has<std::string>(leaves, std::string("/VMC/Comms/EthPort/1/General/") + name));
    for (const char* path : {"/VMC/Comms/EthPort/1/General/DHCP", "/VMC/PrimCfg/Form",
                             "/VMC/PrimCfg/ClassAmps", "/VMC/PrimCfg/NomFreq"})
        CHECK(has<std::int32_t>(leaves, path));
    for (const char* name : {"SerialNumber", "OptionsList", "Enclosure"})
        CHECK(has<std::string>(leaves, std::string("/VMIC/") + name));
    for (const char* name :
         {"SetPrimCfg", "OptionsUpdate", "OptionChange/DualLP", "SetMeasLog/1", "SetMeasLog/2"})
        CHECK(has<bool>(leaves, std::string("/VMF/UpdateService/") + name));
}

TEST_CASE("the shipped options list agrees with the option leaves")
{
    const Leaves leaves = factory_leaves();
    CHECK(leaves.at("/VMIC/OptionsList/Value") ==
          LeafValue(std::string("1C-2A-5-WEB-IEC-IB-NTP-ML-PQ1")));
    int on = 0;
    for (const auto& [path, value] : leaves)
        on += path.compare(0, 14, "/VMIC/Options/") == 0 && value == LeafValue(true);
    for (const char* option : {"Serial/1", "Serial/2", "Serial/3", "Ethernet/1", "CommRepeater",
                               "Web", "IEC61850", "IB", "NTP", "ML", "PQ", "PQ1"})
        CHECK(is_on(leaves, option));
    CHECK(on == 12);
}
