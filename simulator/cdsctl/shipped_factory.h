// The settings with which a simulated meter leaves the factory.
#pragma once

namespace cdsctl
{

// The text of simulator/factory.toml.
extern const char shipped_factory[];

} // namespace cdsctl
