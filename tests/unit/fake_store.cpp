#include "tests/unit/fake_store.h"

#include "store/connection.h"

#include <cstdlib>

#include <unistd.h>

FakeStore fake_store;
void (*before_close)() = nullptr;

FakeStore& fresh_store()
{
    cds_disconnect();
    fake_store = FakeStore();
    cds_connect();
    fake_store.calls.clear();
    return fake_store;
}

toolkit::CElement text_element(const std::string& text)
{
    toolkit::CElement element;
    element = text;
    return element;
}

toolkit::CElement number_element(std::int32_t number)
{
    toolkit::CElement element;
    element = number;
    return element;
}

toolkit::CElement boolean_element(bool value)
{
    toolkit::CElement element;
    element = value;
    return element;
}

std::string shown(const toolkit::CElement& element)
{
    std::string text;
    element.to_string(text);
    return element.type() == string_type ? '"' + text + '"' : text;
}

namespace
{

void record(const std::string& call)
{
    fake_store.calls.push_back(call);
}

int next_result(const std::string& call)
{
    std::vector<int>& results = fake_store.results[call];
    if (results.empty())
        return 0;
    const int result = results.front();
    results.erase(results.begin());
    return result;
}

int next_leaf_result(const toolkit::CCds& store, const std::string& call)
{
    return store.handle != nullptr ? next_result(call) : -1;
}

// Sets the status of one leaf in a successful call: to 1, or as `decide_status` decides. Writes the
// leaf when the status is 1.
void write_leaf(const std::string& path, const toolkit::CElement& value, api_status_t& status)
{
    if (fake_store.decide_status)
        fake_store.decide_status(path, status);
    else
        status = status_success;
    if (status == status_success)
        fake_store.leaves[path] = value;
}

} // namespace

pcd_connection* pcd_init(int options)
{
    if (fake_store.before_connect)
        fake_store.before_connect();
    record(options == 0 ? "pcd_init" : "pcd_init " + std::to_string(options));
    return fake_store.reachable ? reinterpret_cast<pcd_connection*>(&fake_store) : nullptr;
}

void pcd_close(pcd_connection*)
{
    if (before_close != nullptr)
        before_close();
    record("pcd_close");
}

namespace toolkit
{

int CCds::get_leaves(const std::vector<std::string>& paths, std::vector<api_status_t>& statuses,
                     std::vector<CElement>& elements, std::vector<element_property_t>& properties)
{
    if (fake_store.before_read)
        fake_store.before_read();
    std::string call = "get_leaves";
    for (const std::string& path : paths)
        call += " " + path;
    record(call);

    const int result = next_leaf_result(*this, "get_leaves");
    statuses.assign(paths.size(), 0);
    elements.assign(paths.size(), CElement());
    properties.resize(paths.size());
    for (std::size_t i = 0; result == 0 && i < paths.size(); ++i) {
        const auto leaf = fake_store.leaves.find(paths[i]);
        const bool found = leaf != fake_store.leaves.end();
        statuses[i] = found ? status_success : 2;
        if (found)
            elements[i] = leaf->second;
        if (fake_store.change_read)
            fake_store.change_read(paths[i], statuses[i], elements[i]);
    }
    if (fake_store.resize_read)
        fake_store.resize_read(statuses, elements);
    return result;
}

int CCds::set_leaf(const std::string& path, const CElement& value, api_status_t& status,
                   pcd_tribool_t flag, const std::string& source)
{
    record("set_leaf " + path + "=" + shown(value) + "/" + std::to_string(flag) + " \"" + source +
           "\" status " + std::to_string(status));
    const int result = next_leaf_result(*this, "set_leaf");
    if (result == 0)
        write_leaf(path, value, status);
    return result;
}

int CCds::set_leaves(const std::vector<std::string>& paths, const std::vector<CElement>& values,
                     const std::vector<pcd_tribool_t>& flags, std::vector<api_status_t>& statuses,
                     const std::string& source)
{
    std::string call = "set_leaves";
    for (std::size_t i = 0; i < paths.size(); ++i)
        call += " " + paths[i] + "=" + shown(values[i]) + "/" + std::to_string(flags[i]);
    record(call + " \"" + source + '"');
    fake_store.statuses_given = statuses.size();

    const int result = next_leaf_result(*this, "set_leaves");
    statuses.resize(paths.size());
    for (std::size_t i = 0; result == 0 && i < paths.size(); ++i)
        write_leaf(paths[i], values[i], statuses[i]);
    return result;
}

int CCds::clear_leaves(const std::vector<std::string>& paths, std::vector<api_status_t>& statuses,
                       const std::string& source)
{
    std::string call = "clear_leaves";
    for (const std::string& path : paths)
        call += " " + path;
    record(call + " \"" + source + "\" statuses " + std::to_string(statuses.size()));

    const int result = next_leaf_result(*this, "clear_leaves");
    statuses.assign(paths.size(), result == 0 ? status_success : 0);
    for (std::size_t i = 0; result == 0 && i < paths.size(); ++i)
        fake_store.leaves.erase(paths[i]);
    return result;
}

} // namespace toolkit

// These replacements of the C library's functions run no command and do not sleep.
extern "C" int system(const char* command)
{
    if (fake_store.before_command)
        fake_store.before_command();
    record(std::string("system ") + command);
    return next_result("system");
}

extern "C" unsigned sleep(unsigned seconds)
{
    if (fake_store.before_command)
        fake_store.before_command();
    record("sleep " + std::to_string(seconds));
    return 0;
}
