// The leaves that start the meter's update services: a save sets them to true.
#pragma once

// The write of a save that a trigger belongs to.
enum class TriggerStage : unsigned char {
    settings,         // last in the batch of the settings, when the primary configuration is in it
    options,          // last in the batch of the option leaves
    measurement_logs, // a batch of its own, after a pause
};

struct UpdateTrigger {
    char path[39]; // without "/Value"
    TriggerStage stage;
};

// In the order in which they are written.
// clang-format off
inline constexpr UpdateTrigger update_triggers[] = {
    {"/VMF/UpdateService/SetPrimCfg",          TriggerStage::settings},
    {"/VMF/UpdateService/OptionsUpdate",       TriggerStage::options},
    {"/VMF/UpdateService/OptionChange/DualLP", TriggerStage::options},
    {"/VMF/UpdateService/SetMeasLog/1",        TriggerStage::measurement_logs},
    {"/VMF/UpdateService/SetMeasLog/2",        TriggerStage::measurement_logs},
};
// clang-format on
