// The leaves of the meter's identity, in the order in which they are read, shown and written.
#pragma once

#include "settings/session.h"

enum class LeafType {
    text,   // only a string leaf is taken; written as a string
    number, // any leaf is taken, as its text; written as the text's decimal value
};

struct MeterLeaf {
    EditableText SettingsSession::*text;
    const char* path; // without the "/Value" of the leaf that holds it
    LeafType type;
};

// clang-format off
constexpr MeterLeaf meter_leaves[] = {
    {&SettingsSession::serial_number,     "/VMIC/SerialNumber",     LeafType::text},
    {&SettingsSession::options_list,      "/VMIC/OptionsList",      LeafType::text},
    {&SettingsSession::meter_form,        "/VMC/PrimCfg/Form",      LeafType::number},
    {&SettingsSession::class_amps,        "/VMC/PrimCfg/ClassAmps", LeafType::number},
    {&SettingsSession::nominal_frequency, "/VMC/PrimCfg/NomFreq",   LeafType::number},
    {&SettingsSession::enclosure,         "/VMIC/Enclosure",        LeafType::text},
};
// clang-format on
