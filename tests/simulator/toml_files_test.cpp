#include "simulator/toml_files.h"
#include "simulator/toml_text.h"

#include <doctest/doctest.h>

using namespace simulator;

namespace
{

std::string leaf_error(const std::string& text)
{
    Leaves leaves;
    std::string error;
    CHECK_FALSE(parse_leaves(text, "store.toml", leaves, error));
    return error;
}

std::string fault_error(const std::string& text)
{
    std::vector<Fault> faults;
    std::string error;
    CHECK_FALSE(parse_faults(text, "faults.toml", faults, error));
    return error;
}

std::vector<Fault> faults_of(const std::string& text)
{
    std::vector<Fault> faults(1); // parse_faults replaces what the list has
    std::string error;
    const bool parsed = parse_faults(text, "faults.toml", faults, error);
    CHECK_MESSAGE(parsed, error);
    return faults;
}

bool begins_with(const std::string& text, const std::string& beginning)
{
    return text.rfind(beginning, 0) == 0 && text.size() > beginning.size();
}

} // namespace

TEST_CASE("a leaf's type is the type of its TOML value")
{
    Leaves leaves = {{"/left from before", true}};
    std::string error;
    REQUIRE(parse_leaves("# a comment\n"
                         "\"/s\" = \"text\"\n"
                         "'/lit' = 'C:\\x'\n"
                         "\"/b\" = true\n"
                         "\"/n\" = -2_147_483_648\n"
                         "\"/h\" = 0x7fffffff\n"
                         "bare = \"\"\n",
                         "store.toml", leaves, error));
    CHECK(leaves == Leaves{{"/s", std::string("text")},
                           {"/lit", std::string("C:\\x")},
                           {"/b", true},
                           {"/n", std::int32_t{-2147483647} - 1},
                           {"/h", std::int32_t{2147483647}},
                           {"bare", std::string()}});
}

TEST_CASE("newlines and a byte order mark of other systems are accepted")
{
    Leaves leaves;
    std::string error;
    REQUIRE(parse_leaves("\xEF\xBB\xBF\"/a\" = 1\r\n\"/b\" = 2\r\n", "store.toml", leaves, error));
    CHECK(leaves == Leaves{{"/a", std::int32_t{1}}, {"/b", std::int32_t{2}}});
}

TEST_CASE("values of other types are rejected with line and leaf")
{
    const std::string reason = " is not a string, a boolean or an integer of 32 bits";
    for (const char* value : {"1.0", "2147483648", "-2147483649", "9223372036854775807", "nan",
                              "2024-02-29", "09:36:29", "2024-02-29T09:36:29Z", "[1]", "{a = 1}"}) {
        CAPTURE(value);
        CHECK(leaf_error("\"/a\" = 1\n\"/b\" = " + std::string(value) + "\n") ==
              "store.toml:2: leaf \"/b\"" + reason);
    }
    CHECK(leaf_error("\n\nVMIC.Enclosure = \"RK\"\n") == "store.toml:3: leaf \"VMIC\"" + reason);
    CHECK(leaf_error("\n[table]\na = 1\n") == "store.toml:2: leaf \"table\"" + reason);
    CHECK(leaf_error("[[list]]\na = 1\n") == "store.toml:1: leaf \"list\"" + reason);
}

TEST_CASE("the error names the first of several wrong values")
{
    CHECK(begins_with(leaf_error("\"/z\" = 1.0\n\"/a\" = 1.0\n"), "store.toml:1: leaf \"/z\""));
}

TEST_CASE("text that is not TOML is rejected with its line")
{
    CHECK(begins_with(leaf_error("\"/a\" = 1\n\"/b\" = \n"), "store.toml:2: "));
    CHECK(begins_with(leaf_error("\"/a\" = 1\n\"/a\" = 2\n"), "store.toml:2: "));
    CHECK(begins_with(leaf_error("\"/a\" = 99999999999999999999\n"), "store.toml:1: "));
    CHECK(begins_with(leaf_error("\n\n\"/a\" = \"bad \xFF\"\n"), "store.toml:3: "));
    CHECK(begins_with(leaf_error("\"/a\" = True\n"), "store.toml:1: "));
    CHECK(begins_with(leaf_error("\"/a\" = \"unended\n"), "store.toml:1: "));
    CHECK(begins_with(leaf_error("\"/a\" = 1\n<<<<<<<\n"), "store.toml:2: "));
}

TEST_CASE("the error for a duplicate key quotes its second occurrence")
{
    const std::string first = "\"/a\" = \"one\"\n\"/a/a\" = 1\n";
    CHECK(leaf_error(first + "\"/a\" = \"two\"\n") == "store.toml:3: key \"/a\" is given twice");
    CHECK(leaf_error(first + "\n \t'/a/a'\t=\"=\"") == "store.toml:4: key '/a/a' is given twice");
    CHECK(leaf_error(first + "\"/a\" = \"\"\"\n=\"\"\"") ==
          "store.toml:3: key \"/a\" is given twice");
    CHECK(leaf_error("\"/\xC3\xA4 = \xF0\x9F\x92\xA1\" = 1\r\n\"/\xC3\xA4 = \xF0\x9F\x92\xA1\" =  "
                     "\"\xC3\xA4\" # =\r\n") ==
          "store.toml:2: key \"/\xC3\xA4 = \xF0\x9F\x92\xA1\" is given twice");
    std::string letters;
    for (int i = 0; i < 20; ++i)
        letters += "\xC3\xA9";
    const std::string key = "'/" + letters + "'";
    CHECK(leaf_error(key + " = 1\nother = 2\n" + key + " = 3\n") ==
          "store.toml:3: key " + key + " is given twice");
    CHECK(fault_error("[[fault]]\ncall = \"pcd_init\"\ncall = \"pcd_init\"\n") ==
          "faults.toml:3: key call is given twice");
    CHECK(leaf_error("a = 1\na.b = 2\n") ==
          "store.toml:2: Error while parsing key-value pair: cannot redefine existing integer as "
          "dotted key-value pair");
}

TEST_CASE("the error for a duplicate key in an inline table quotes the key alone")
{
    CHECK(leaf_error("\"/a\" = {x = 1, x = 2}\n") == "store.toml:1: key x is given twice");
    CHECK(leaf_error("\n\"/a\" = [{'y, =' = 3, z = 1, 'y, =' = {x = 1}}]\n") ==
          "store.toml:2: key 'y, =' is given twice");
    CHECK(leaf_error("a = {b.c = 1, b.c = 2}") == "store.toml:1: key b.c is given twice");
    CHECK(leaf_error("a = [\"\"\"\n\"\"\", {x = 1, x = 2}]") ==
          "store.toml:2: key x is given twice");
    CHECK(fault_error("fault = [{call = \"pcd_init\", call = \"get_leaves\"}]") ==
          "faults.toml:1: key call is given twice");
}

TEST_CASE("values nested too deeply are rejected with their line")
{
    const std::string reason = "2: keys, arrays and tables are nested more than 32 levels deep";
    const auto repeated = [](const std::string& text) {
        std::string out;
        for (int i = 0; i < 150'000; ++i)
            out += text;
        return out;
    };
    for (const std::string& text :
         {repeated("a.") + "a = 1", "[" + repeated("a.") + "a]", "[[" + repeated("a.") + "a]]",
          "a = {" + repeated("a.") + "a = 1}", "a = " + repeated("["), "a = " + repeated("{a = "),
          "a = " + repeated("[{a.b = ")}) {
        CHECK(leaf_error("\n" + text) == "store.toml:" + reason);
        CHECK(fault_error("\n" + text) == "faults.toml:" + reason);
        LeafValue value;
        CHECK(parse_value("5\n" + text, value) == TomlReading::no_value);
    }
    CHECK(leaf_error("a = " + repeated("[")).rfind("store.toml:1: keys, arrays", 0) == 0);
    LeafValue value;
    CHECK(parse_value("[" + repeated("["), value) == TomlReading::other_value);
    CHECK(parse_value("[1, " + repeated("["), value) == TomlReading::other_value);
    CHECK(parse_value("{" + repeated("a.") + "a=1}", value) == TomlReading::other_value);
}

TEST_CASE("text that the parser assumes impossible is rejected with its line")
{
    CHECK(begins_with(leaf_error("\n[?]\n"), "store.toml:2: "));
    CHECK(begins_with(fault_error("[[[fault]]]\n"), "faults.toml:1: "));
    CHECK(begins_with(leaf_error("\"/a\" = \xC3\xA9\n"), "store.toml:1: "));
    CHECK(begins_with(leaf_error("\n\"/a\" \xD0\x83 = 1\n"), "store.toml:2: "));
}

TEST_CASE("a fault has its keys, with defaults for the missing ones")
{
    const std::vector<Fault> faults = faults_of("# none\n\n"
                                                "[[fault]]\ncall = \"pcd_init\"\n\n"
                                                "[[fault]]\ncall = \"set_leaves\"\npath = \"/a\"\n"
                                                "result = -1\nstatus = 5\nafter = 3\ntimes = 2\n");
    REQUIRE(faults.size() == 2);
    CHECK(faults[0].call == "pcd_init");
    CHECK_FALSE(faults[0].path);
    CHECK_FALSE(faults[0].result);
    CHECK_FALSE(faults[0].status);
    CHECK_FALSE(faults[0].after);
    CHECK_FALSE(faults[0].times);
    CHECK(faults[0].line == 3);

    CHECK(faults[1].call == "set_leaves");
    CHECK(faults[1].path == "/a");
    CHECK(faults[1].result == -1);
    CHECK(faults[1].status == 5);
    CHECK(faults[1].after == 3);
    CHECK(faults[1].times == 2);
    CHECK(faults[1].line == 6);
}

TEST_CASE("a fault can name every call, and a file may be empty")
{
    for (const char* call : {"pcd_init", "get_leaves", "set_leaf", "set_leaves", "clear_leaves"})
        CHECK(faults_of("[[fault]]\ncall = \"" + std::string(call) + "\"\n").size() == 1);
    CHECK(faults_of("").empty());
    CHECK(faults_of("fault = []\n").empty());
}

TEST_CASE("an invalid faults file is rejected with line and reason")
{
    const std::string head = "[[fault]]\ncall = \"set_leaf\"\n";
    CHECK(begins_with(fault_error(head + "path = \n"), "faults.toml:3: "));
    // the first of two errors in a line
    CHECK(fault_error("fault = [{call = 'pcd_init', x = 1, y = 1}]") ==
          "faults.toml:1: unknown key \"x\"");
    const std::vector<std::string> keys = {"call", "path", "result", "status", "after", "times"};
    for (std::size_t i = 0; i + 1 < keys.size(); ++i)
        CHECK(begins_with(fault_error("fault = [{" + keys[i + 1] + " = 1.5, " + keys[i] + " = 1.5" +
                                      (i == 0 ? "" : ", call = 'pcd_init'") + "}]"),
                          "faults.toml:1: \"" + keys[i] + "\" must be "));
    CHECK(fault_error(head + "reslut = 1\n") == "faults.toml:3: unknown key \"reslut\"");
    CHECK(fault_error("\n[[faults]]\ncall = \"set_leaf\"\n") ==
          "faults.toml:2: unknown key \"faults\"");
    CHECK(fault_error("\n[[fault]]\npath = \"/a\"\n") == "faults.toml:2: a fault needs a \"call\"");
    CHECK(fault_error("[[fault]]\n\ncall = \"pcd_close\"\n") ==
          "faults.toml:3: unknown call \"pcd_close\"");
    CHECK(fault_error("[[fault]]\ncall = 1\n") == "faults.toml:2: \"call\" must be a string");
    CHECK(fault_error(head + "path = true\n") == "faults.toml:3: \"path\" must be a string");
    for (const char* key : {"result", "status"}) {
        for (const char* value : {"\"1\"", "1.0", "true", "2147483648"}) {
            CAPTURE(value);
            CHECK(fault_error(head + key + " = " + value + "\n") ==
                  "faults.toml:3: \"" + std::string(key) + "\" must be an integer of 32 bits");
        }
    }
    for (const char* key : {"after", "times"}) {
        for (const char* value : {"\"1\"", "1.0", "-1"}) {
            CAPTURE(value);
            CHECK(fault_error(head + key + " = " + value + "\n") ==
                  "faults.toml:3: \"" + std::string(key) + "\" must be a number of calls");
        }
    }
    CHECK(fault_error("\n[fault]\ncall = \"set_leaf\"\n") ==
          "faults.toml:2: \"fault\" must be [[fault]] tables");
    CHECK(fault_error("\nfault = [{call = \"set_leaf\"}, 1]\n") ==
          "faults.toml:2: \"fault\" must be [[fault]] tables");
}

TEST_CASE("a text is a TOML value only if the value fills the text")
{
    const auto read = [](const std::string& text) {
        LeafValue value = std::string("left alone");
        const TomlReading reading = parse_value(text, value);
        return std::to_string(static_cast<int>(reading)) + " " + toml_value(value);
    };
    const std::string none = "0 \"left alone\"";
    const std::string other = "2 \"left alone\"";
    CHECK(read("-5") == "1 -5");
    CHECK(read("\"\xC3\xA4\"") == "1 \"\xC3\xA4\"");
    CHECK(read("'''a\nb'''") == "1 \"a\\nb\"");
    CHECK(read("1.5") == other);
    CHECK(read("[\n1\n]") == other);
    for (const char* text :
         {"", "x", " 5", "5 ", "5#", "5\n", "\n5", "5\nw=6", "5\n[t]", "'", "1,2"}) {
        CAPTURE(text);
        CHECK(read(text) == none);
    }
}

TEST_CASE("a letter outside ASCII is rejected where a line, a value or a comment should begin")
{
    // The characters from U+00A1 to U+0499, each as two bytes of UTF-8. The builds with sanitizers
    // check that the parser has no undefined behaviour.
    for (unsigned code = 0xA1; code <= 0x499; ++code) {
        const std::string letter = {static_cast<char>(0xC0 | code >> 6),
                                    static_cast<char>(0x80 | (code & 0x3F))};
        for (const char* before : {"\"/a\" = 1\n", "\"/a\" = 1\n\"/b\" = ", "\n\"/a\" = 1 "}) {
            CAPTURE(code);
            REQUIRE(leaf_error(before + letter + "\n").find(".toml:2: ") != std::string::npos);
        }
    }
}
