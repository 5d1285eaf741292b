// The triggers: leaves that start the meter's update services. A save sets a trigger to true.
#pragma once

// The point in a save at which a trigger is written.
enum class TriggerStage : unsigned char {
    settings,         // after the settings, if the save writes a leaf below `prim_cfg_branch`
    options,          // after the option leaves, in the same batch
    measurement_logs, // in a second batch, after a pause of one second
};

struct UpdateTrigger {
    char path[39]; // the path without "/Value"
    TriggerStage stage;
};

// The branch of the primary configuration. A save that writes a leaf below this branch also writes
// the triggers of the stage `settings`.
inline constexpr char prim_cfg_branch[] = "/VMC/PrimCfg/";

// A save writes the triggers in the order of these rows.
// clang-format off
inline constexpr UpdateTrigger update_triggers[] = {
    {"/VMF/UpdateService/SetPrimCfg",          TriggerStage::settings},
    {"/VMF/UpdateService/OptionsUpdate",       TriggerStage::options},
    {"/VMF/UpdateService/OptionChange/DualLP", TriggerStage::options},
    {"/VMF/UpdateService/SetMeasLog/1",        TriggerStage::measurement_logs},
    {"/VMF/UpdateService/SetMeasLog/2",        TriggerStage::measurement_logs},
};
// clang-format on
