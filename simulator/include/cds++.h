// libcds++: the class layer of the configuration data store's client library.
//
// This header belongs to the simulated client library. It declares only the parts that the settings
// utility uses. The meter's own library has its own header.
#pragma once

#include <cds.h>

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace toolkit
{

// The properties of a leaf. A read call sets them.
struct element_property_t {
    std::uint32_t flags = 0;
};

// A typed value of a leaf. Type codes: 1 boolean, 3 integer (32 bits), 6 string.
class CElement
{
public:
    // When true, the constructor and the assignments set the time stamp to the present time.
    static bool _auto_time;
    // The time stamp of an element without a time.
    static const std::time_t _invalid_time;

    CElement(); // creates an empty string

    // An assignment sets the type code to 1, 3 or 6.
    CElement& operator=(bool value);
    CElement& operator=(std::int32_t value);
    CElement& operator=(const std::string& value);
    CElement& operator=(const char* value) = delete; // a pointer would otherwise convert to `bool`

    int type() const;
    std::time_t time() const;

    // Sets `out` to "true" or "false", to the decimal number, or to the text.
    void to_string(std::string& out) const;
    // Returns 1 or 0 for a boolean, the number for an integer, and the decimal number at the start
    // of a string. Returns 0 for a string that does not start with a number. A number outside 32
    // bits becomes the nearest 32-bit limit.
    std::int32_t to_int() const;
    // Returns true for the boolean true, a number other than 0, and the texts "true" and "1".
    bool to_bool() const;

    // Splits `in` at each `separator`, and sets `out` to the parts. Splits like repeated
    // `std::getline` calls, so a separator at the end adds no empty part. An empty text has no
    // parts.
    static void split_string(std::vector<std::string>& out, const std::string& in, char separator);

private:
    int _type;
    std::int32_t _number; // the boolean (0 or 1) or the integer
    std::string _text;
    std::time_t _time;
};

// The calls on an open store. Element i of each array belongs to path i. A call resizes its output
// arrays to the number of paths.
// Every call returns 0 on success, and another number when the whole call failed.
class CCds
{
public:
    pcd_connection* handle = nullptr; // the caller opens and closes it; null: not connected

    int get_leaves(const std::vector<std::string>& paths, std::vector<api_status_t>& statuses,
                   std::vector<CElement>& elements, std::vector<element_property_t>& properties);

    int set_leaf(const std::string& path, const CElement& value, api_status_t& status,
                 pcd_tribool_t flag, const std::string& source);

    int set_leaves(const std::vector<std::string>& paths, const std::vector<CElement>& values,
                   const std::vector<pcd_tribool_t>& flags, std::vector<api_status_t>& statuses,
                   const std::string& source);

    int clear_leaves(const std::vector<std::string>& paths, std::vector<api_status_t>& statuses,
                     const std::string& source);
};

class CEvent
{
public:
    // Sets `out` to the non-empty names, joined with "/".
    static void format_source_string(std::string& out, const std::string& first,
                                     const std::string& second, const std::string& third);
};

} // namespace toolkit
