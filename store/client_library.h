// The only file that includes the store's client library.
//
// CDS_ROOT, a build option, selects the meter's own library or the simulated one. When the
// installed headers declare other names, adapt them here.
#pragma once

#include <cds++.h>
#include <cds.h>

// The type codes of an element that the program uses.
constexpr int boolean_type = 1;
constexpr int string_type = 6;

// The status of a leaf that a call handled successfully.
constexpr api_status_t status_success = 1;

// The flag passed with each written leaf: 1 for settings and option leaves, 0 for the
// update-service triggers after the option leaves. Only the store interprets it.
constexpr pcd_tribool_t setting_flag = 1;
constexpr pcd_tribool_t trigger_flag = 0;

// Returns an element that holds `value`: a boolean, a 32-bit integer or a string.
template <typename Value>
toolkit::CElement element_of(const Value& value)
{
    toolkit::CElement element;
    element = value;
    return element;
}

// Returns the element's time stamp, or `toolkit::CElement::_invalid_time` when it has none. Only
// the doctor uses it.
inline auto time_stamp(const toolkit::CElement& element)
{
    return element.time();
}
