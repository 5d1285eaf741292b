// The only file that includes the headers of the store's client library.
//
// cmake/client_library.cmake selects the meter's own library or the simulated library. If the
// installed headers declare other names, adapt the names in this file.
#pragma once

#include <cds++.h>
#include <cds.h>

// The type codes of a boolean element and of a string element. The program uses no other type code.
constexpr int boolean_type = 1;
constexpr int string_type = 6;

// The library gives this status to a leaf that it has read or written.
constexpr api_status_t status_success = 1;

// The program passes one of these flags with each leaf that it writes: `trigger_flag` with the
// update-service triggers in the option-leaf batch, `setting_flag` with every other leaf. Only the
// store interprets the flag.
constexpr pcd_tribool_t setting_flag = 1;
constexpr pcd_tribool_t trigger_flag = 0;

// Returns an element that holds `value`, which is a boolean, a 32-bit integer or a string.
template <typename Value>
toolkit::CElement element_of(const Value& value)
{
    toolkit::CElement element;
    element = value;
    return element;
}

// Returns the time stamp of `element`, or `toolkit::CElement::_invalid_time` when the element has
// no time stamp. Only the doctor calls this function.
inline auto time_stamp(const toolkit::CElement& element)
{
    return element.time();
}
