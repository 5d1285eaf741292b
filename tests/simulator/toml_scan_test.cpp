#include "simulator/toml_scan.h"

#include <doctest/doctest.h>

#include <string>

using namespace simulator;

namespace
{

std::string repeated(const std::string& text, std::size_t count)
{
    std::string out;
    for (std::size_t i = 0; i < count; ++i)
        out += text;
    return out;
}

// Returns a key with `parts` parts.
std::string key_of(std::size_t parts)
{
    return repeated("a.", parts - 1) + "a";
}

} // namespace

TEST_CASE("each part of a key, each array and each inline table counts")
{
    for (const std::string before : {"", "[t]\n", "[[t]]\n", "a = [1.5, 2.5]\n", "# [[[\n"}) {
        CAPTURE(before);
        const auto depth_fits = [&](const std::string& text) {
            return line_too_deep(before + text) == 0;
        };
        CHECK(depth_fits(key_of(deepest_nesting + 1) + " = 1"));
        CHECK_FALSE(depth_fits(key_of(deepest_nesting + 2) + " = 1"));
        CHECK(depth_fits("a = " + repeated("[", deepest_nesting)));
        CHECK_FALSE(depth_fits("a = " + repeated("[", deepest_nesting + 1)));
        CHECK(depth_fits("a = " + repeated("{a = ", deepest_nesting)));
        CHECK_FALSE(depth_fits("a = " + repeated("{a = ", deepest_nesting + 1)));
        CHECK(depth_fits("a = " + repeated("[{a.b = ", deepest_nesting / 4) +
                         repeated("[", deepest_nesting / 4)));
        CHECK_FALSE(depth_fits("a = " + repeated("[{a.b = ", deepest_nesting / 3 + 1)));
        CHECK_FALSE(depth_fits("[" + key_of(deepest_nesting + 1) + "]"));
        CHECK_FALSE(depth_fits("a . \"b.c\" . " + key_of(deepest_nesting + 2)));
    }
}

TEST_CASE("the line of the first value nested too deeply is returned")
{
    const std::string deep = key_of(deepest_nesting + 2);
    CHECK(line_too_deep(deep) == 1);
    CHECK(line_too_deep("\n\"\"\"\n\n\"\"\" # x\n" + deep) == 5);
    CHECK(line_too_deep("\n" + deep + "\n" + deep) == 2);
    CHECK(line_too_deep("a = [\n" + repeated("[\n", deepest_nesting)) == deepest_nesting + 1);
}

TEST_CASE("values in sequence do not add to the depth")
{
    const std::size_t many = 3 * deepest_nesting;
    for (const std::string text :
         {"a.b = 1\n", "[a.b]\n", "[[a]]\n", "a = [{b.c = 1, d.e = [1.5]}, 2]\n", "a = {}\n",
          "a = [\n[], []]\n", "]", "}", "[a\n", "[[a\n", "a.b # c\n", "a.b'\n"}) {
        CAPTURE(text);
        CHECK(line_too_deep(repeated(text, many)) == 0);
    }
    CHECK(line_too_deep("a = [" + repeated("{b.c = 1.5}, ", many) + "]") == 0);
    CHECK(line_too_deep("a = [" + repeated("1.5, ", many) + "]") == 0);
    CHECK(line_too_deep(repeated("[a,", many)) == 1);        // a comma does not end a header
    CHECK(line_too_deep("a = " + repeated(".", many)) == 0); // these dots do not separate keys
    for (const std::string closed : {"[t]", "a = {}", "a = []"}) {
        CAPTURE(closed);
        CHECK(line_too_deep(closed + repeated(".b", deepest_nesting)) == 0);
        CHECK(line_too_deep(closed + repeated(".b", deepest_nesting + 1)) == 1);
    }
}

TEST_CASE("brackets and dots in strings and comments do not count")
{
    const std::string deep = repeated("[", deepest_nesting + 1);
    for (const std::string before :
         {"a = \"", "a = '", "a = \"\"\"\n", "a = '''\n", "# ", "a = \"\\\"", "a = \"x\"\" ",
          "a = \"\"\" \\\"\"\" ", "a = \"\"\"\"\" ", "a = ''' '' ",
          "a = \"\"\"x\"\"\"\"\"\" "}) { // the sixth quote at the end begins another string
        CAPTURE(before);
        CHECK(line_too_deep(before + deep) == 0);
        CHECK(line_too_deep(before) == 0);
    }
}

TEST_CASE("the scan finds the same end of a string as a parser")
{
    const std::string deep = repeated("[", deepest_nesting + 1);
    for (const std::string before :
         {"a = \"\"", "a = ''", "a = \"x\"", "a = \"\\\\\"", "a = 'x\\'", "a = \"\"\"x\"\"\"",
          "a = \"\"\"x\"\"\"\"", "a = \"\"\"x\"\"\"\"\"", "a = '''x''''", "a = '''x'''''",
          "a = \"\"\"\n\"\n\"\"\n\"\"\"", "a = \"\n", "a = '\n", "# x\n", "a = \"\"\"\\\"\"\"\""}) {
        CAPTURE(before);
        CHECK(line_too_deep(before + deep) != 0);
    }
}

TEST_CASE("the last key is the one before the last equals sign")
{
    CHECK(last_key("a = ") == "a");
    CHECK(last_key("x = 1\n \t\"a = b\" . c \t= [") == "\"a = b\" . c");
    CHECK(last_key("a = {x = 1, 'y,' = 2") == "'y,'");
    CHECK(last_key("a = [{x = 1}, {y=") == "y");
    CHECK(last_key("a = [\"\"\"\n\"\"\", {y=") == "y");
    CHECK(last_key("[t]\na = 1 # b = 2\n") == "a");
    CHECK(last_key(" = ") == "");
    CHECK(last_key("") == "");
}
