// A client library that misbehaves on purpose, for the tests of the doctor.
//
// The variable ODD_STORE names a file with one leaf per line: a type code (1, 3 or 6), a tab, the
// path, a tab and the value. The library reads the file at the first connection and writes it at
// each change. ODD_LIBRARY names the misbehaviour. The calls of `odd` and `odd_number` list all
// misbehaviours.

#include <cds++.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <stdexcept>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

struct pcd_connection {
    std::map<std::string, toolkit::CElement> cache;
};

namespace
{

bool is_saving = false; // true turns off the misbehaviour, so that the file gets the true values

bool odd(const char* misbehaviour)
{
    const char* chosen = std::getenv("ODD_LIBRARY");
    return !is_saving && chosen != nullptr && std::strcmp(chosen, misbehaviour) == 0;
}

// Returns the number after "=" when the chosen misbehaviour is, for example, signal-at-write=3.
// Returns 0 when another misbehaviour is chosen.
int odd_number(const char* misbehaviour)
{
    const char* chosen = std::getenv("ODD_LIBRARY");
    const std::size_t length = std::strlen(misbehaviour);
    if (chosen == nullptr || std::strncmp(chosen, misbehaviour, length) != 0)
        return 0;
    return chosen[length] == '=' ? std::atoi(chosen + length + 1) : 0;
}

std::map<std::string, toolkit::CElement> leaves;
int open_connections = 0;
int attempts = 0; // attempts to connect
int writes = 0;

void load()
{
    std::ifstream file(std::getenv("ODD_STORE"));
    std::string type;
    std::string path;
    std::string value;
    while (std::getline(file, type, '\t') && std::getline(file, path, '\t') &&
           std::getline(file, value)) {
        if (type == "1")
            leaves[path] = value == "true";
        else if (type == "3")
            leaves[path] = std::int32_t{std::atoi(value.c_str())};
        else
            leaves[path] = value;
    }
}

void save()
{
    std::ofstream file(std::getenv("ODD_STORE"));
    is_saving = true;
    for (const auto& [path, element] : leaves) {
        std::string value;
        element.to_string(value);
        file << element.type() << '\t' << path << '\t' << value << '\n';
    }
    is_saving = false;
}

api_status_t success()
{
    return odd("status-0") ? 0 : 1;
}

bool is_known(const std::string& path)
{
    return path.find("/meter-settings-doctor/") != 0;
}

// Returns the value that the library stores when a caller writes `value`.
toolkit::CElement stored(const toolkit::CElement& value)
{
    std::string text;
    value.to_string(text);
    toolkit::CElement element = value;
    if (odd("integers-become-strings") && value.type() == 3)
        element = text;
    if (odd("booleans-become-integers") && value.type() == 1)
        element = std::int32_t{value.to_bool()};
    if (odd("truncates-at-255") && text.size() > 255)
        element = text.substr(0, 255);
    if (odd("wrong-text") && text == "a b")
        element = std::string("b a");
    if (odd("replaces-0x93"))
        std::replace(text.begin(), text.end(), '\x93', '?');
    if (odd("replaces-0x93") && value.type() == 6)
        element = text;
    return element;
}

// Returns the value that a read returns for a leaf, or null for a missing leaf.
const toolkit::CElement* find(pcd_connection& connection, const std::string& path)
{
    if (odd("cache-for-ever") || odd("cache-of-a-connection")) {
        const auto cached = connection.cache.find(path);
        if (cached != connection.cache.end())
            return &cached->second;
    }
    const auto leaf = leaves.find(path);
    if (leaf == leaves.end())
        return nullptr;
    return &(connection.cache[path] = leaf->second);
}

// Writes one leaf and returns its status.
api_status_t write(pcd_connection* handle, const std::string& path, const toolkit::CElement& value)
{
    ++writes;
    if (writes == odd_number("signal-at-write"))
        std::raise(SIGTERM);
    if (writes == odd_number("throws-at-write"))
        throw std::runtime_error("odd");
    const int last = odd_number("rejects-after");
    std::string text;
    value.to_string(text);
    if ((last != 0 && writes > last) || !is_known(path) ||
        (odd("rejects-the-empty-string") && text.empty()) ||
        (odd("rejects-0x93") && text.find('\x93') != std::string::npos))
        return 5;
    if (!odd("loses-writes"))
        leaves[path] = stored(value);
    if (odd("cache-of-a-connection"))
        handle->cache[path] = stored(value);
    save();
    return success();
}

} // namespace

pcd_connection* pcd_init(int)
{
    if (leaves.empty())
        load();
    ++attempts;
    if (odd("no-connection") || (odd("connects-once") && attempts > 1) ||
        (odd("first-attempt-fails") && attempts == 1) ||
        (odd("one-connection") && open_connections > 0))
        return nullptr;
    ++open_connections;
    return new pcd_connection;
}

void pcd_close(pcd_connection* connection)
{
    --open_connections;
    delete connection;
}

namespace toolkit
{

bool CElement::_auto_time = false;
const std::time_t CElement::_invalid_time = -1;

CElement::CElement() : _type(6), _number(0), _time(_invalid_time) {}

CElement& CElement::operator=(bool value)
{
    *this = std::int32_t{value};
    _type = 1;
    return *this;
}

CElement& CElement::operator=(std::int32_t value)
{
    _type = odd("integer-is-a-boolean") ? 1 : odd("integer-is-a-string") ? 6 : 3;
    _number = value;
    _time = _auto_time && !odd("no-time-stamps") ? std::time(nullptr) : _invalid_time;
    return *this;
}

CElement& CElement::operator=(const std::string& value)
{
    *this = std::int32_t{0};
    _type = 6;
    _text = value;
    return *this;
}

int CElement::type() const
{
    if (odd("swapped-type-codes") && _type != 3)
        return 7 - _type;
    if (odd("addresses-have-their-own-type") && _text.find("192.") == 0)
        return 4;
    return _type;
}

std::time_t CElement::time() const
{
    return _time;
}

void CElement::to_string(std::string& out) const
{
    if (_type == 1)
        out = odd("to-string-of-a-boolean") ? (_number != 0 ? "1" : "0")
                                            : (_number != 0 ? "true" : "false");
    else if (_type == 3)
        out = (odd("to-string-of-an-integer") ? "+" : "") + std::to_string(_number);
    else
        out = odd("to-string-of-a-string") ? "\"" + _text + "\"" : _text;
}

std::int32_t CElement::to_int() const
{
    if (odd("to-int-of-a-boolean") && _type == 1)
        return -_number;
    return odd("to-int-of-an-integer") && _type == 3 ? 0 : _number;
}

bool CElement::to_bool() const
{
    return (_number != 0) != odd("to-bool");
}

void CElement::split_string(std::vector<std::string>& out, const std::string& in, char separator)
{
    out.clear();
    if (odd("splits-nothing"))
        separator = '\0';
    for (std::size_t begin = 0; begin < in.size();) {
        const std::size_t end = std::min(in.find(separator, begin), in.size());
        out.push_back(in.substr(begin, end - begin));
        begin = end + 1;
    }
    if (odd("splits-off-an-empty-end") && (in.empty() || in.back() == separator))
        out.emplace_back();
}

void CEvent::format_source_string(std::string& out, const std::string& first,
                                  const std::string& second, const std::string& third)
{
    out = odd("source-string") ? first + "/" + second + "/" + third : first + second + third;
}

int CCds::get_leaves(const std::vector<std::string>& paths, std::vector<api_status_t>& statuses,
                     std::vector<CElement>& elements, std::vector<element_property_t>&)
{
    if (odd("throws-at-read"))
        throw std::runtime_error("odd");
    if (odd("read-fails"))
        return 7;
    if (odd("missing-leaf-fails") && !is_known(paths.front()))
        return 8;
    statuses.assign(paths.size(), 2);
    elements.assign(paths.size(), CElement());
    for (std::size_t i = 0; i < paths.size(); ++i) {
        if (const toolkit::CElement* element = find(*handle, paths[i])) {
            statuses[i] = success();
            elements[i] = *element;
        } else if (odd("missing-leaf-succeeds")) {
            statuses[i] = 1;
        }
    }
    if (odd("short-statuses"))
        statuses.pop_back();
    if (odd("short-elements"))
        elements.pop_back();
    if (odd("long-arrays"))
        statuses.push_back(1);
    if (odd("other-order") && paths.size() > 1)
        std::reverse(elements.begin(), elements.end());
    return 0;
}

int CCds::set_leaf(const std::string& path, const CElement& value, api_status_t& status,
                   pcd_tribool_t, const std::string&)
{
    if (odd("set-leaf-fails"))
        return -1;
    const api_status_t written = write(handle, path, value);
    if (!odd("sets-no-status"))
        status = written;
    return 0;
}

int CCds::set_leaves(const std::vector<std::string>& paths, const std::vector<CElement>& values,
                     const std::vector<pcd_tribool_t>&, std::vector<api_status_t>& statuses,
                     const std::string&)
{
    if (odd("batch-fails"))
        return -1;
    statuses.clear();
    for (std::size_t i = 0; i < paths.size(); ++i)
        statuses.push_back(odd("batch-creates-leaves") && !is_known(paths[i])
                               ? (leaves[paths[i]] = values[i], 1)
                               : write(handle, paths[i], values[i]));
    if (odd("batch-reports-success"))
        statuses.assign(paths.size(), 1);
    if (odd("batch-with-short-statuses"))
        statuses.pop_back();
    return 0;
}

int CCds::clear_leaves(const std::vector<std::string>& paths, std::vector<api_status_t>& statuses,
                       const std::string&)
{
    if (odd("clear-fails"))
        return -1;
    for (const std::string& path : paths) {
        const bool exists = leaves.count(path) != 0;
        if (odd("clear-of-a-missing-leaf-fails") && !exists)
            return 9;
        if (odd("clear-only-empties"))
            leaves[path] = std::string();
        else if (!odd("clear-does-nothing"))
            leaves.erase(path);
        handle->cache.erase(path);
    }
    save();
    statuses.assign(paths.size(), odd("clear-without-status") ? 0 : success());
    if (odd("clear-with-no-statuses"))
        statuses.clear();
    return 0;
}

} // namespace toolkit

// Runs no command. Returns 1, which means that a shell is available. Returns 0 when the
// misbehaviour is no-shell or no-sh-file.
extern "C" int system(const char*)
{
    return odd("no-shell") || odd("no-sh-file") ? 0 : 1;
}

namespace
{

// Replaces the path /jffs/downloads by the path in the variable ODD_DOWNLOADS, if it is set.
// Returns any other path unchanged.
const char* replaced(const char* path)
{
    const char* downloads = std::getenv("ODD_DOWNLOADS");
    return downloads != nullptr && std::strcmp(path, "/jffs/downloads") == 0 ? downloads : path;
}

} // namespace

extern "C" int access(const char* path, int mode) noexcept
{
    if (odd("no-sh-file") && std::strcmp(path, "/bin/sh") == 0)
        return -1;
    return faccessat(AT_FDCWD, replaced(path), mode, 0);
}

extern "C" int stat(const char* path, struct stat* status) noexcept
{
    return fstatat(AT_FDCWD, replaced(path), status, 0);
}

extern "C" unsigned sleep(unsigned)
{
    return 0;
}
