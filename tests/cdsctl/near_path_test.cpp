#include "simulator/cdsctl/near_path.h"

#include <doctest/doctest.h>

using namespace cdsctl;
using simulator::Leaves;

namespace
{

const Leaves leaves = {{"/VMIC/Enclosure/Value", 0},
                       {"/VMIC/SerialNumber/Value", 0},
                       {"/VMIC/Options/Web/Value", 0},
                       {"/VMIC/Options/PQ1/Value", 0},
                       {"/VMIC/Options/PQ2/Value", 0},
                       {"/VMC/PrimCfg/Form/Value", 0},
                       {"/System/Interface/1/IP Address/Value", 0},
                       {"/bare", 0},
                       {"/a", 0}};

std::string near(const std::string& path)
{
    return near_path(path, leaves);
}

} // namespace

TEST_CASE("a path that differs only by /Value is near")
{
    CHECK(near("/VMIC/Enclosure") == "/VMIC/Enclosure/Value");
    CHECK(near("/bare/Value") == "/bare");
    CHECK(near("/Value") == "");
    CHECK(near("") == "");
}

TEST_CASE("a mistyped path is near")
{
    for (const char* path :
         {"/VMIC/Enclosre/Value", "/VMIC/Enclosuree/Value", "/VMIC/Encolsure/Value",
          "/VMIC/Enclosurr/Value", "/VMIC/Enclosure/Valeu", "/VMIC/Enclosure/value",
          "/vmic/enclosure/value", "/VMIV/Enclosure/Value", "VMIC/Enclosure/Value",
          "/VMIC/Enclosure/Value/"}) {
        CAPTURE(path);
        CHECK(near(path) == "/VMIC/Enclosure/Value");
    }
    CHECK(near("/VMC/PrimCgf/Form/Value") == "/VMC/PrimCfg/Form/Value");
    CHECK(near("/System/Interface/2/IP Address/Value") == "/System/Interface/1/IP Address/Value");
}

TEST_CASE("two edits are near when they leave half of the differing component")
{
    for (const char* path : {"/VMIC/Enclosu/Value", "/VMIC/Enclosurexx/Value",
                             "/VMIC/xyEnclosure/Value", "/VMIC/closure/Value"}) {
        CAPTURE(path);
        CHECK(near(path) == "/VMIC/Enclosure/Value");
    }
    CHECK(near("/VMC/PrimCfg/Fxxm/Value") == "/VMC/PrimCfg/Form/Value");
    CHECK(near("/VMIC/Options/PXX/Value") == "");
    CHECK(near_path("abxx", {{"abcd", 0}}) == "abcd");
    CHECK(near_path("xxcd", {{"abcd", 0}}) == "abcd");
    CHECK(near_path("axx", {{"abc", 0}}) == "");
}

TEST_CASE("three edits are never near")
{
    for (const char* path :
         {"/VMIC/Enclosxxx/Value", "/VMIC/xxxlosure/Value", "/VMIC/Enclosx/Value",
          "/VMIC/Enclosxrexx/Value", "/VMIC/xyEnclosurr/Value"}) {
        CAPTURE(path);
        CHECK(near(path) == "");
    }
}

TEST_CASE("one edit is near in a path of three letters, none in one of two")
{
    CHECK(near_path("/ac", {{"/ab", 0}}) == "/ab");
    CHECK(near_path("/abc", {{"/ab", 0}}) == "/ab");
    CHECK(near_path("/a", {{"/ab", 0}}) == "");
    CHECK(near_path("/A", {{"/a", 0}}) == "/a");
    CHECK(near_path("/z", {{"/Z", 0}}) == "/Z");
    CHECK(near_path("/{", {{"/[", 0}}) == "");
    CHECK(near_path("/`", {{"/@", 0}}) == "");
}

TEST_CASE("the nearest of several near paths is chosen, and the first of equally near ones")
{
    CHECK(near("/VMIC/Options/PQ22/Value") == "/VMIC/Options/PQ2/Value");
    CHECK(near("/VMIC/Options/PQ3/Value") == "/VMIC/Options/PQ1/Value");
}

TEST_CASE("an unrelated path is near to none")
{
    for (const char* path :
         {"/VMIC/Options/Foo/Value", "/b", "/VMIC/SerialNo/Value", "/VMIC/Enc/Value",
          "/Other/Enclosure/Value", "/VMIC/Enclosure/Extra/Value", "/VMIC/Enclosure/Value/of/it",
          "/bare/Valux"}) {
        CAPTURE(path);
        CHECK(near(path) == "");
        CHECK(near_path_hint(path, leaves) == "");
    }
    CHECK(near_path("/VMIC/Enclosure/Value", {}) == "");
}

TEST_CASE("a hint has the path as a TOML string")
{
    CHECK(near_path_hint("/VMIC/Enclosure", leaves) ==
          " (did you mean \"/VMIC/Enclosure/Value\"?)");
    CHECK(near_path_hint("/x\ny", {{"/x\ny/Value", 0}}) == " (did you mean \"/x\\ny/Value\"?)");
}
