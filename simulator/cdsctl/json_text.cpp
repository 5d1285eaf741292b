#include "simulator/cdsctl/json_text.h"

#include <nlohmann/json.hpp>

#include <utility>

namespace cdsctl
{

namespace
{

using Json = nlohmann::ordered_json; // keeps the keys in the order of insertion

constexpr int on_one_line = -1;
constexpr int key_per_line = 2;

Json json_value(const std::optional<simulator::LeafValue>& value)
{
    if (!value)
        return nullptr;
    return std::visit([](const auto& held) { return Json(held); }, *value);
}

// Appends a key that the object does not have yet. Unlike `object[key]`, this function does not
// search the object for the key.
void append(Json& object, const std::string& key, Json value)
{
    object.get_ref<Json::object_t&>().emplace_back(key, std::move(value));
}

// Returns `json` as text. Replaces bytes that are not UTF-8. Only a path from the command line can
// contain such bytes.
std::string text_of(const Json& json, int indent)
{
    return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

} // namespace

std::string json_leaves(const FoundLeaves& leaves)
{
    Json object = Json::object();
    for (const auto& [path, value] : leaves)
        append(object, path, json_value(value));
    return text_of(object, key_per_line);
}

std::string json_changes(const std::vector<Change>& changes)
{
    Json object = Json::object();
    for (const Change& change : changes)
        append(object, change.path,
               {{"old", json_value(change.old_value)}, {"new", json_value(change.new_value)}});
    return text_of(object, key_per_line);
}

std::string json_change(const Change& change)
{
    return text_of({{"path", change.path},
                    {"old", json_value(change.old_value)},
                    {"new", json_value(change.new_value)}},
                   on_one_line);
}

} // namespace cdsctl
