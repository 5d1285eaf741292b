#include "store/leaf_path.h"

#include <doctest/doctest.h>

#include <stdexcept>

using Paths = std::vector<std::string>;

TEST_CASE("only the first question mark of a path is replaced")
{
    Paths paths = {"/a/?/b/?"};
    number_paths(paths, 0, 1, 1);
    CHECK(paths == Paths{"/a/1/b/?"});
}

TEST_CASE("only the paths of the range are numbered")
{
    Paths paths = {"/?", "/?", "/?", "/?"};
    number_paths(paths, 1, 2, 4294967295);
    CHECK(paths == Paths{"/?", "/4294967295", "/4294967295", "/?"});
    number_paths(paths, 4, 0, 9);
    CHECK(paths.size() == 4);
}

TEST_CASE("a path without a question mark is rejected")
{
    Paths paths = {"/?", "/plain", "/?"};
    CHECK_THROWS_AS(number_paths(paths, 0, 3, 2), std::out_of_range);
    CHECK(paths == Paths{"/2", "/plain", "/?"});
}

TEST_CASE("the paths of a port have its number, those of the session are unaltered")
{
    InterfaceSettings port;
    port.number = 7;
    const Paths of_port = leaf_paths(port_leaves, port);
    CHECK(of_port.size() == std::size(port_leaves));
    CHECK(of_port[1] == "/Software/System Settings/Network/Interface/7/IP Address/Value");
    CHECK(leaf_paths(dns_leaves, SettingsSession()) ==
          Paths{"/Software/System Settings/Network/Name Server/1/Value",
                "/Software/System Settings/Network/Name Server/2/Value"});
}

TEST_CASE("the name of the value is appended to every path")
{
    Paths paths = {"/a", "/b/1"};
    append_value_names(paths);
    CHECK(paths == Paths{"/a/Value", "/b/1/Value"});
}
