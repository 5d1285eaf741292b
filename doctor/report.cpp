#include "doctor/report.h"

#include <cstdarg>
#include <cstdio>

namespace
{

constexpr char labels[][6] = {"ok", "note", "WRONG"};
constexpr char json_names[][6] = {"ok", "note", "wrong"};

// `prefix` introduces the two hexadecimal digits of a byte that is not printable.
std::string escaped(std::string_view text, const char* prefix)
{
    constexpr char digits[] = "0123456789abcdef";
    std::string out = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte >= 0x7F) {
            out += prefix;
            out += digits[byte >> 4];
            out += digits[byte & 0xF];
            continue;
        }
        if (c == '"' || c == '\\')
            out += '\\';
        out += c;
    }
    out += '"';
    return out;
}

void print_member(const char* name, std::string_view value)
{
    std::printf(",\"%s\":%s", name, escaped(value, "\\u00").c_str());
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
    std::fputc('}', stdout);
}

void print_text(const Report& report, unsigned row, const char* message, const char* advice)
{
    std::printf("  %-5s  %s\n", labels[row], message);
    if (*advice == '\0')
        return;
    std::printf("         %s\n", advice);
    if (!report.leaf.empty())
        std::printf("         %s\n", report.leaf.c_str());
}

void add(Report& report, Verdict verdict, const char* advice, const char* format, va_list arguments)
{
    const auto row = static_cast<unsigned>(verdict);
    char message[1024]; // a longer one is cut: a finding is a line
    std::vsnprintf(message, sizeof message, format, arguments);
    (report.as_json ? print_json : print_text)(report, row, message, advice);
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
    add(report, Verdict::ok, "", message, arguments);
    va_end(arguments);
}

void add_note(Report& report, const char* advice, const char* message, ...)
{
    va_list arguments;
    va_start(arguments, message);
    add(report, Verdict::note, advice, message, arguments);
    va_end(arguments);
}

void add_wrong(Report& report, const char* advice, const char* message, ...)
{
    va_list arguments;
    va_start(arguments, message);
    add(report, Verdict::wrong, advice, message, arguments);
    va_end(arguments);
}

// NOLINTEND(cert-dcl50-cpp)

void end_report(const Report& report)
{
    std::printf(report.as_json ? "\n],\"ok\":%u,\"notes\":%u,\"wrong\":%u}\n"
                               : "\nSummary: %u ok, %u to note, %u WRONG\n",
                report.counts[0], report.counts[1], report.counts[2]);
}

std::string quoted(std::string_view text)
{
    return escaped(text, "\\x");
}
