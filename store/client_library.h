// The one place where the store's client library comes in.
//
// Whether the meter's own library or the simulated meter's stand-in answers is the build's
// choice (CDS_ROOT). Where the installed headers have other names, they are adapted here.
#pragma once

#include <cds++.h>
#include <cds.h>

// Type codes of an element that the program relies on.
constexpr int boolean_type = 1;
constexpr int string_type = 6;

// Status of a leaf that was handled successfully.
constexpr api_status_t status_success = 1;

// Flags given with a written leaf: 1 for settings and option leaves, 0 for the update-service
// triggers that follow the option leaves. The store knows what they mean.
constexpr pcd_tribool_t setting_flag = 1;
constexpr pcd_tribool_t trigger_flag = 0;

// A value as an element: a boolean, a 32-bit integer or a string.
template <typename Value>
toolkit::CElement element_of(const Value& value)
{
    toolkit::CElement element;
    element = value;
    return element;
}

// The time stamp of an element; `toolkit::CElement::_invalid_time` when it has none. Only the
// doctor reads it.
inline auto time_stamp(const toolkit::CElement& element)
{
    return element.time();
}
