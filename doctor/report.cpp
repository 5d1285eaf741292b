#include "doctor/report.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace
{

constexpr char labels[][6] = {"ok", "note", "WRONG"};
constexpr char json_names[][6] = {"ok", "note", "wrong"};

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
            std::putchar('\\');
        std::printf(is_printable(byte) ? "%c" : "\\u%04x", byte);
    }
    std::putchar('"');
}

bool is_first(const Report& report)
{
    return report.counts[0] + report.counts[1] + report.counts[2] == 0;
}

void print_json(const Report& report, unsigned row, const char* message, const char* advice)
{
    std::printf("%s\n{\"result\":\"%s\"", is_first(report) ? "" : ",", json_names[row]);
    print_member("group", report.group);
    print_member("check", report.check);
    print_member("leaf", report.leaf);
    print_member("message", message);
    print_member("advice", advice);
    std::putchar('}');
}

// Prints the path of a leaf without what many paths have in common.
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

void print_text(const Report& report, unsigned row, const char* message, const char* advice)
{
    std::printf("  %-5s  ", labels[row]);
    if (*report.leaf != '\0')
        print_short(report.leaf);
    std::printf("%s\n", message);
    if (*advice == '\0')
        return;
    std::printf("         %s\n", advice);
    if (*report.leaf != '\0')
        std::printf("         %s\n", report.leaf);
}

void add(Report& report, Verdict verdict, const char* format, va_list arguments)
{
    const auto row = static_cast<unsigned>(verdict);
    char text[1024]; // a longer one is cut: a finding is a line
    std::vsnprintf(text, sizeof text, format, arguments);
    char* message_end = text + std::strcspn(text, "\n");
    const char* advice = *message_end == '\0' ? "" : message_end + 1;
    *message_end = '\0';
    (report.as_json ? print_json : print_text)(report, row, text, advice);
    std::fflush(stdout);
    ++report.counts[row];
}

} // namespace

void begin_report(const Report& report)
{
    if (report.as_json)
        std::fputs("{\"findings\":[", stdout);
}

void begin_group(Report& report, const char* name)
{
    report.group = name;
    if (!report.as_json)
        std::printf("%s%s\n", is_first(report) ? "" : "\n", name);
}

// The compiler checks the arguments of each call against its format.
// NOLINTBEGIN(cert-dcl50-cpp)

void add_ok(Report& report, const char* message, ...)
{
    va_list arguments;
    va_start(arguments, message);
    add(report, Verdict::ok, message, arguments);
    va_end(arguments);
}

void add_note(Report& report, const char* message, ...)
{
    va_list arguments;
    va_start(arguments, message);
    add(report, Verdict::note, message, arguments);
    va_end(arguments);
}

void add_wrong(Report& report, const char* message, ...)
{
    va_list arguments;
    va_start(arguments, message);
    add(report, Verdict::wrong, message, arguments);
    va_end(arguments);
}

// NOLINTEND(cert-dcl50-cpp)

void end_report(const Report& report)
{
    std::printf(report.as_json ? "\n],\"ok\":%u,\"notes\":%u,\"wrong\":%u}\n"
                               : "\nSummary: %u ok, %u to note, %u WRONG\n",
                report.counts[0], report.counts[1], report.counts[2]);
}

Words quoted(std::string_view text)
{
    Words words = {"\""};
    char* out = words.text + 1;
    const char* last =
        words.text + sizeof words.text - 6; // a byte takes 4, its end and the quote 2
    for (std::size_t i = 0; i < text.size() && out < last; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte == '"' || byte == '\\')
            *out++ = '\\';
        out += std::sprintf(out, is_printable(byte) ? "%c" : "\\x%02x", unsigned{byte});
    }
    *out++ = '"';
    *out = '\0';
    return words;
}
