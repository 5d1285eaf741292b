#include "doctor/report.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace
{

constexpr char labels[][6] = {"ok", "note", "WRONG"};
constexpr char json_names[][6] = {"ok", "note", "wrong"};

struct {
    bool as_json;
    const char* group;
    const char* check;
    const char* leaf;
    unsigned counts[3]; // number of findings so far, for each verdict
} state;

bool is_printable(unsigned char byte)
{
    return byte >= 0x20 && byte < 0x7F;
}

void print_member(const char* name, const char* value)
{
    std::printf(R"(,"%s":")", name);
    for (; *value != '\0'; ++value) {
        const auto byte = static_cast<unsigned char>(*value);
        if (byte == '"' || byte == '\\')
            std::printf("\\%c", byte);
        else
            std::printf(is_printable(byte) ? "%c" : "\\u%04x", byte);
    }
    std::printf("\"");
}

bool is_first()
{
    return state.counts[ok] + state.counts[note] + state.counts[wrong] == 0;
}

void print_json(Verdict verdict, const char* message, const char* advice)
{
    std::printf("%s\n{\"result\":\"%s\"", is_first() ? "" : ",", json_names[verdict]);
    print_member("group", state.group);
    print_member("check", state.check);
    print_member("leaf", state.leaf);
    print_member("message", message);
    print_member("advice", advice);
    std::printf("}");
}

// Prints the path of a leaf without the network branch at the start, without "/Value" at the end,
// and with a space after it.
void print_short(const char* leaf)
{
    constexpr char branch[] = "/Software/System Settings/Network/";
    constexpr char ending[] = "/Value";
    if (std::strncmp(leaf, branch, sizeof branch - 1) == 0)
        leaf += sizeof branch - 1;
    std::size_t length = std::strlen(leaf);
    if (length >= sizeof ending && std::strcmp(leaf + length - (sizeof ending - 1), ending) == 0)
        length -= sizeof ending - 1;
    std::printf("%.*s ", static_cast<int>(length), leaf);
}

void print_text(Verdict verdict, const char* message, const char* advice)
{
    constexpr char further_line[] = "         %s\n";
    std::printf("  %-5s  ", labels[verdict]);
    if (*state.leaf != '\0')
        print_short(state.leaf);
    std::printf("%s\n", message);
    if (*advice == '\0')
        return;
    std::printf(further_line, advice);
    if (*state.leaf != '\0')
        std::printf(further_line, state.leaf);
}

} // namespace

void begin_report(bool as_json)
{
    state.as_json = as_json;
    if (as_json)
        std::printf("{\"findings\":[");
}

void begin_group(const char* name)
{
    state.group = name;
    if (!state.as_json)
        std::printf("%s%s\n", is_first() ? "" : "\n", name);
}

void begin_check(const char* name)
{
    state.check = name;
    state.leaf = "";
}

void begin_leaf(const char* path)
{
    state.leaf = path;
}

// A variadic function is safe here, because the compiler checks the arguments of each call.
// NOLINTNEXTLINE(cert-dcl50-cpp)
void report(Verdict verdict, const char* message, ...)
{
    char text[1024]; // a longer message is truncated
    va_list arguments;
    va_start(arguments, message);
    std::vsnprintf(text, sizeof text, message, arguments);
    va_end(arguments);
    char* message_end = text + std::strcspn(text, "\n");
    const char* advice = *message_end == '\0' ? "" : message_end + 1;
    *message_end = '\0';
    (state.as_json ? print_json : print_text)(verdict, text, advice);
    std::fflush(stdout);
    ++state.counts[verdict];
}

bool is_anything_wrong()
{
    return state.counts[wrong] > 0;
}

void end_report()
{
    std::printf(state.as_json ? "\n],\"ok\":%u,\"notes\":%u,\"wrong\":%u}\n"
                              : "\nSummary: %u ok, %u notes, %u WRONG\n",
                state.counts[ok], state.counts[note], state.counts[wrong]);
}

Words quoted(std::string_view text)
{
    Words words = {"\""};
    char* out = words.text + 1;
    // The loop leaves six characters free: one more byte of the text takes at most four, and the
    // closing quote and the terminating zero take two.
    const char* last = words.text + sizeof words.text - 6;
    for (std::size_t i = 0; i < text.size() && out < last; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte == '"' || byte == '\\')
            *out++ = '\\';
        out += std::snprintf(out, 5, is_printable(byte) ? "%c" : "\\x%02x", unsigned{byte});
    }
    *out++ = '"';
    *out = '\0';
    return words;
}
