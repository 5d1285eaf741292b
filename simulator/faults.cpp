#include "simulator/faults.h"

#include <algorithm>

namespace simulator
{

namespace
{

bool matches(const Fault& fault, std::string_view call, const std::vector<std::string>& paths)
{
    return fault.call == call &&
           (!fault.path || std::find(paths.begin(), paths.end(), *fault.path) != paths.end());
}

// Returns true when the fault has already let `after` calls pass. Otherwise counts this call.
bool past_after(Fault& fault)
{
    if (fault.let_pass == fault.after.value_or(0))
        return true;
    ++fault.let_pass;
    return false;
}

} // namespace

const Fault* take_fault(std::vector<Fault>& faults, std::string_view call,
                        const std::vector<std::string>& paths)
{
    Fault* taken = nullptr;
    for (Fault& fault : faults) {
        if (!matches(fault, call, paths) || !past_after(fault))
            continue;
        if (taken == nullptr && (!fault.times || fault.hit < *fault.times))
            taken = &fault;
    }
    if (taken != nullptr)
        ++taken->hit;
    return taken;
}

bool decides_status(const Fault* fault, const std::string& path)
{
    return fault != nullptr && fault->status && (!fault->path || *fault->path == path);
}

} // namespace simulator
