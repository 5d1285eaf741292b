// libcds++: the class layer of the configuration data store's client library.
//
// The stand-in's declaration of exactly what the settings utility uses. The meter's own
// library brings a header of its own.
#pragma once

#include <cds.h>

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace toolkit
{

// Property record of a leaf, filled by reads.
struct element_property_t {
    std::uint32_t flags = 0;
};

// A typed value of a leaf. Type codes: 1 boolean, 3 integer (32 bits), 6 string.
class CElement
{
public:
    // When true, an element is stamped with the present time as it is built or assigned.
    static bool _auto_time;
    // The time of an element that has none.
    static const std::time_t _invalid_time;

    CElement(); // an empty string, stamped only when `_auto_time` is set

    // Assignment decides the type: 1, 3 or 6.
    CElement& operator=(bool value);
    CElement& operator=(std::int32_t value);
    CElement& operator=(const std::string& value);
    CElement& operator=(const char* value) = delete; // would otherwise be taken as a boolean

    int type() const;
    std::time_t time() const;

    // "true"/"false", the decimal number, or the text.
    void to_string(std::string& out) const;
    // 1/0, the number, or the text's leading decimal number: 0 when there is none,
    // the nearest limit of 32 bits when it is beyond.
    std::int32_t to_int() const;
    // The boolean, whether the number is not 0, or whether the text is "true" or "1".
    bool to_bool() const;

    // Replaces `out` by the parts of `in` as repeated `std::getline` calls with `separator`
    // cut them; an empty text has no parts.
    static void split_string(std::vector<std::string>& out, const std::string& in, char separator);

private:
    int _type;
    std::int32_t _number; // the boolean (0 or 1) or the integer
    std::string _text;
    std::time_t _time;
};

// The calls on an open store. Arrays of one call run in parallel: element i of each belongs
// to path i. The arrays that a call fills are resized to the number of paths.
// Every call returns 0, or another number when it failed as a whole.
class CCds
{
public:
    pcd_connection* handle = nullptr; // set and closed by the user; null: not connected

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
    // `out` = the non-empty ones of the three names joined with "/".
    static void format_source_string(std::string& out, const std::string& first,
                                     const std::string& second, const std::string& third);
};

} // namespace toolkit
