#include "simulator/cdsctl/changes.h"

#include <doctest/doctest.h>

using namespace cdsctl;
using simulator::Leaves;

namespace
{

// Returns the lines of all changes as one text.
std::string shown(const Leaves& before, const Leaves& after)
{
    std::string lines;
    for (const Change& change : changes_between(before, after))
        lines += change_line(change) + "\n";
    return lines;
}

std::string paths_below(const std::string& prefix)
{
    const Leaves leaves = {{"", 0},      {"/", 0},      {"/a", 0},  {"/a b/c", 0}, {"/a/b", 0},
                           {"/a/b/", 0}, {"/a/b/c", 0}, {"/ab", 0}, {"b", 0}};
    std::string paths;
    for (const auto& [path, value] : leaves_below(leaves, prefix))
        paths += "[" + path + "]";
    return paths;
}

} // namespace

TEST_CASE("equal leaves are not a change")
{
    CHECK(shown({}, {}) == "");
    CHECK(shown({{"/a", 1}, {"/b", true}}, {{"/a", 1}, {"/b", true}}) == "");
}

TEST_CASE("new, cleared and changed leaves are distinguished and sorted by path")
{
    CHECK(
        shown({{"/b", 1}, {"/c", 1}, {"/e", 1}}, {{"/a", 1}, {"/c", 2}, {"/d", true}, {"/e", 1}}) ==
        "/a: (new) -> 1\n/b: 1 -> (cleared)\n/c: 1 -> 2\n/d: (new) -> true\n");
    CHECK(shown({}, {{"/a", 1}, {"/b", 2}}) == "/a: (new) -> 1\n/b: (new) -> 2\n");
    CHECK(shown({{"/a", 1}, {"/b", 2}}, {}) == "/a: 1 -> (cleared)\n/b: 2 -> (cleared)\n");
}

TEST_CASE("another type is a change even when the text is the same")
{
    CHECK(shown({{"/a", 1}}, {{"/a", true}}) == "/a: 1 -> true\n");
    CHECK(shown({{"/a", 1}}, {{"/a", std::string("1")}}) == "/a: 1 -> \"1\"\n");
}

TEST_CASE("a change is one line, whatever its path and texts contain")
{
    CHECK(shown({{"/a\nb", std::string("c\nd")}}, {}) == "\"/a\\nb\": \"c\\nd\" -> (cleared)\n");
    CHECK(shown({}, {{"/\xC3\xA4 \"b", 1}}) == "/\xC3\xA4 \"b: (new) -> 1\n");
}

TEST_CASE("a prefix matches whole path components")
{
    CHECK(paths_below("/a") == "[/a][/a/b][/a/b/][/a/b/c]");
    CHECK(paths_below("/a/b") == "[/a/b][/a/b/][/a/b/c]");
    CHECK(paths_below("/a/b/c") == "[/a/b/c]");
    CHECK(paths_below("/a b") == "[/a b/c]");
    CHECK(paths_below("/a/b/c/d") == "");
    CHECK(paths_below("b") == "[b]");
    CHECK(paths_below("a") == "");
}

TEST_CASE("a slash at the end of a prefix has no effect")
{
    CHECK(paths_below("/a/") == paths_below("/a"));
    CHECK(paths_below("/a//") == paths_below("/a"));
    CHECK(paths_below("/") == "[][/][/a][/a b/c][/a/b][/a/b/][/a/b/c][/ab]");
}

TEST_CASE("a leaf is one line, whatever its path and text contain")
{
    CHECK(leaf_line("/\xC3\xA4 \"b", std::string("c\nd")) == "/\xC3\xA4 \"b = \"c\\nd\"");
    CHECK(leaf_line("/a\nb", true) == "\"/a\\nb\" = true");
    CHECK(leaf_line("/\x1f", true) == "\"/\\u001F\" = true");
    CHECK(leaf_line("/\x7f", true) == "\"/\\u007F\" = true");
    CHECK(leaf_line("/ ~\xC2\x80", true) == "/ ~\xC2\x80 = true");
}
