#include "network/update_triggers.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <iterator>
#include <string>

TEST_CASE("the triggers are listed in the order in which a save writes them")
{
    CHECK(std::is_sorted(std::begin(update_triggers), std::end(update_triggers),
                         [](const UpdateTrigger& one, const UpdateTrigger& other) {
                             return one.stage < other.stage;
                         }));
}

// Without the slash, a leaf such as "/VMC/PrimCfgBackup" would belong to the branch.
TEST_CASE("the branch of the primary configuration ends with a slash")
{
    CHECK(std::string(prim_cfg_branch).back() == '/');
}
