// The leaves that start the meter's update services. A save sets them to true.
#pragma once

// Where in a save a trigger is written.
enum class TriggerStage : unsigned char {
    settings,         // after the settings, when the primary configuration is among them
    options,          // after the option leaves, in the same batch
    measurement_logs, // in a second batch, after a pause
};

struct UpdateTrigger {
    char path[39]; // without "/Value"
    TriggerStage stage;
};

// A save that writes a leaf below this branch also writes the trigger of the settings.
inline constexpr char prim_cfg_branch[] = "/VMC/PrimCfg/";

// In the order of writing.
// clang-format off
inline constexpr UpdateTrigger update_triggers[] = {
    {"/VMF/UpdateService/SetPrimCfg",          TriggerStage::settings},
    {"/VMF/UpdateService/OptionsUpdate",       TriggerStage::options},
    {"/VMF/UpdateService/OptionChange/DualLP", TriggerStage::options},
    {"/VMF/UpdateService/SetMeasLog/1",        TriggerStage::measurement_logs},
    {"/VMF/UpdateService/SetMeasLog/2",        TriggerStage::measurement_logs},
};
// clang-format on
