#include "tests/fuzz/check.h"

#include <cstdio>
#include <cstdlib>

#include <unistd.h>

namespace
{

std::string readable(const std::string& text)
{
    std::string out;
    for (const char c : text) {
        if (c == '\n' || (c >= ' ' && c <= '~')) {
            out += c;
        } else {
            char escape[5];
            std::snprintf(escape, sizeof escape, "\\x%02X", static_cast<unsigned char>(c));
            out += escape;
        }
    }
    return out;
}

} // namespace

void check(bool holds, const char* what, const std::string& of)
{
    if (holds)
        return;
    // Writes to the descriptor, because a fuzz target may have redirected the stream `stderr`.
    dprintf(STDERR_FILENO, "\nCHECK FAILED: %s: %s\n", what, readable(of).c_str());
    std::abort();
}

void check_equal(const std::string& actual, const std::string& expected, const char* what)
{
    if (actual != expected)
        check(false, what, "\n--- expected:\n" + expected + "\n--- actual:\n" + actual + "\n---");
}
