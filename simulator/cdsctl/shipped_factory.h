// The factory defaults of a simulated meter.
#pragma once

namespace cdsctl
{

// The text of simulator/factory.toml.
extern const char shipped_factory[];

} // namespace cdsctl
