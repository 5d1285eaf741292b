#include "tests/fleet/line_plan.h"

#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(LineEvent, session, at_key, seconds, keys)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Substitution, from, to, occurrence, session)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(LinePlan, command, environment, seed, key_rate,
                                                output_rate, message_rate, baud, command_seconds,
                                                prelude, stalls, typists, ends, deaths,
                                                substitutions)

LinePlan read_line_plan(const std::string& path)
{
    std::ifstream file(path);
    if (!file)
        throw std::runtime_error(path + " cannot be read");
    return nlohmann::json::parse(file).get<LinePlan>();
}
