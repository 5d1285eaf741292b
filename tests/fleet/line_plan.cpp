#include "tests/fleet/line_plan.h"

#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

using nlohmann::json;

namespace
{

// Reads a member from a JSON object. Leaves the member unchanged when the object does not contain
// it.
template <typename Member>
void take(const json& from, const char* name, Member& member)
{
    if (from.contains(name))
        from.at(name).get_to(member);
}

} // namespace

// The JSON library calls the functions that are named from_json.

static void from_json(const json& from, LineEvent& event)
{
    take(from, "session", event.session);
    take(from, "at_key", event.at_key);
    take(from, "seconds", event.seconds);
    take(from, "keys", event.keys);
}

static void from_json(const json& from, Substitution& substitution)
{
    take(from, "from", substitution.from);
    take(from, "to", substitution.to);
    take(from, "occurrence", substitution.occurrence);
    take(from, "session", substitution.session);
}

static void from_json(const json& from, LinePlan& plan)
{
    take(from, "command", plan.command);
    take(from, "seed", plan.seed);
    take(from, "key_rate", plan.key_rate);
    take(from, "output_rate", plan.output_rate);
    take(from, "message_rate", plan.message_rate);
    take(from, "baud", plan.baud);
    take(from, "transit", plan.transit);
    take(from, "prelude", plan.prelude);
    take(from, "stalls", plan.stalls);
    take(from, "typists", plan.typists);
    take(from, "ends", plan.ends);
    take(from, "deaths", plan.deaths);
    take(from, "substitutions", plan.substitutions);
}

LinePlan read_line_plan(const std::string& path)
{
    std::ifstream file(path);
    if (!file)
        throw std::runtime_error(path + " cannot be read");
    return json::parse(file).get<LinePlan>();
}
