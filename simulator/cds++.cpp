#include <cds++.h>

#include "simulator/meter.h"
#include "simulator/trace.h"

namespace toolkit
{

namespace
{

using simulator::LeafValue;
using simulator::Leaves;

// The type codes of elements. An element with any other code is a string.
constexpr int boolean_code = 1;
constexpr int integer_code = 3;

constexpr int call_failed = -1;
constexpr api_status_t leaf_handled = 1;
constexpr api_status_t leaf_missing = 2;

CElement element_of(const LeafValue& value)
{
    CElement element;
    std::visit([&](const auto& held) { element = held; }, value);
    return element;
}

LeafValue leaf_value(const CElement& element)
{
    if (element.type() == boolean_code)
        return element.to_bool();
    if (element.type() == integer_code)
        return element.to_int();
    std::string text;
    element.to_string(text);
    return text;
}

// Runs one call of the library. First applies the faults. Unless a fault makes the whole call fail,
// calls `handle_leaves` with the positions of the leaves whose status no fault sets.
// `handle_leaves` returns false when the store cannot be read or written.
template <typename HandleLeaves>
int run_call(const pcd_connection* handle, const char* name, const std::vector<std::string>& paths,
             std::vector<api_status_t>& statuses, HandleLeaves handle_leaves)
{
    statuses.assign(paths.size(), 0);
    simulator::Meter& meter = simulator::this_meter();
    if (handle == nullptr)
        return call_failed;

    const simulator::Fault* fault = simulator::take_fault(meter.faults, name, paths);
    std::vector<std::size_t> positions;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        if (simulator::decides_status(fault, paths[i]))
            statuses[i] = *fault->status; // NOLINT(bugprone-unchecked-optional-access): not empty
        else
            positions.push_back(i);
    }
    if (fault != nullptr && fault->result.value_or(0) != 0)
        return *fault->result;
    return handle_leaves(meter.store, positions) ? 0 : call_failed;
}

// Applies `change` to each leaf at `positions`, and replaces the store file atomically. When
// `positions` is empty, only reads the store.
template <typename Change>
bool write_leaves(simulator::MeterStore& store, const std::vector<std::size_t>& positions,
                  std::vector<api_status_t>& statuses, Change change)
{
    const auto edit = [&](Leaves& leaves, std::string&) {
        for (const std::size_t i : positions)
            change(leaves, i);
        return true;
    };
    std::string error; // not printed, because the caller gets only the result
    if (!(positions.empty() ? refresh_leaves(store, error) : edit_leaves(store, edit, error)))
        return false;
    for (const std::size_t i : positions)
        statuses[i] = leaf_handled;
    return true;
}

} // namespace

int CCds::get_leaves(const std::vector<std::string>& paths, std::vector<api_status_t>& statuses,
                     std::vector<CElement>& elements, std::vector<element_property_t>& properties)
{
    elements.assign(paths.size(), CElement());
    properties.assign(paths.size(), element_property_t());
    const auto read = [&](simulator::MeterStore& store, const std::vector<std::size_t>& positions) {
        std::string error; // not printed, because the caller gets only the result
        if (!refresh_leaves(store, error))
            return false;
        for (const std::size_t i : positions) {
            const auto leaf = store.leaves.find(paths[i]);
            const bool exists = leaf != store.leaves.end();
            statuses[i] = exists ? leaf_handled : leaf_missing;
            if (exists)
                elements[i] = element_of(leaf->second);
        }
        return true;
    };
    const int result = run_call(handle, "get_leaves", paths, statuses, read);
    simulator::trace_get_leaves(paths, statuses, result);
    return result;
}

int CCds::set_leaf(const std::string& path, const CElement& value, api_status_t& status,
                   pcd_tribool_t flag, const std::string& source)
{
    std::vector<api_status_t> statuses;
    const auto write = [&](simulator::MeterStore& store,
                           const std::vector<std::size_t>& positions) {
        const auto set = [&](Leaves& leaves, std::size_t) { leaves[path] = leaf_value(value); };
        return write_leaves(store, positions, statuses, set);
    };
    const int result = run_call(handle, "set_leaf", {path}, statuses, write);
    status = statuses.front();
    simulator::trace_set_leaf({path, leaf_value(value), flag, status}, source, result);
    return result;
}

int CCds::set_leaves(const std::vector<std::string>& paths, const std::vector<CElement>& values,
                     const std::vector<pcd_tribool_t>& flags, std::vector<api_status_t>& statuses,
                     const std::string& source)
{
    const auto write = [&](simulator::MeterStore& store,
                           const std::vector<std::size_t>& positions) {
        const auto set = [&](Leaves& leaves, std::size_t i) {
            leaves[paths[i]] = leaf_value(values[i]);
        };
        return write_leaves(store, positions, statuses, set);
    };
    const int result = run_call(handle, "set_leaves", paths, statuses, write);
    if (simulator::is_traced()) {
        std::vector<simulator::TracedLeaf> leaves;
        leaves.reserve(paths.size());
        for (std::size_t i = 0; i < paths.size(); ++i)
            leaves.push_back({paths[i], leaf_value(values[i]), flags[i], statuses[i]});
        simulator::trace_set_leaves(leaves, source, result);
    }
    return result;
}

int CCds::clear_leaves(const std::vector<std::string>& paths, std::vector<api_status_t>& statuses,
                       const std::string& source)
{
    const auto write = [&](simulator::MeterStore& store,
                           const std::vector<std::size_t>& positions) {
        const auto clear = [&](Leaves& leaves, std::size_t i) { leaves.erase(paths[i]); };
        return write_leaves(store, positions, statuses, clear);
    };
    const int result = run_call(handle, "clear_leaves", paths, statuses, write);
    simulator::trace_clear_leaves(paths, statuses, source, result);
    return result;
}

} // namespace toolkit
