#include "console/command.h"
#include "doctor/doctor.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>

#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

// The directory from which a save removes downloads.
constexpr char downloads[] = "/jffs/downloads";

// The simulated meter has no shell: its commands are its own, and missing ones do no harm.
bool has_shell()
{
    return std::system(nullptr) != 0;
}

void check_shell(Doctor& doctor)
{
    if (has_shell())
        add_ok(doctor.report, "system() has a shell");
    else if (access("/bin/sh", X_OK) == 0)
        add_note(doctor.report, "system() runs no command: this is a simulated meter\n"
                                "Missing commands are only to note here. A meter needs them.");
    else
        add_wrong(doctor.report, "system() has no shell: there is no /bin/sh\n"
                                 "Install a shell. The utility runs its commands with it.");
}

struct File {
    char path[PATH_MAX];
};

bool is_file(const File& file)
{
    struct stat status = {};
    return stat(file.path, &status) == 0 && S_ISREG(status.st_mode);
}

bool is_executable(const File& file)
{
    return is_file(file) && access(file.path, X_OK) == 0;
}

// The file that the shell runs for a command of `length` characters. Otherwise one of that name
// that is not executable, or none.
File find_command(const char* name, int length)
{
    const char* directory = std::getenv("PATH");
    if (directory == nullptr || *name == '/')
        directory = "/";
    File found = {};
    for (;;) {
        const auto end = static_cast<int>(std::strcspn(directory, ":"));
        File file;
        std::snprintf(file.path, sizeof file.path, "%.*s%s%.*s", end, directory,
                      end == 0 ? "./" : "/", length, name); // an empty directory is the present one
        if (is_executable(file))
            return file;
        if (is_file(file))
            found = file;
        if (directory[end] == '\0')
            return found;
        directory += end + 1;
    }
}

void judge_command(Report& report, const char* name, bool is_needed)
{
    const auto length = static_cast<int>(std::strcspn(name, " "));
    const File file = find_command(name, length);
    const auto add_problem = is_needed ? add_wrong : add_note;
    if (file.path[0] == '\0')
        add_problem(report,
                    "command %.*s is missing\n"
                    "The utility ignores the failure and reports success.",
                    length, name);
    else if (!is_executable(file))
        add_problem(report,
                    "command %.*s is not executable: %s\n"
                    "The utility ignores the failure and reports success.",
                    length, name, quoted(file.path).text);
    else
        add_ok(report, "command %.*s: %s", length, name, quoted(file.path).text);
}

void check_commands(Doctor& doctor)
{
    const bool are_needed = has_shell();
    for (const CommandLine& line : command_lines)
        judge_command(doctor.report, line.text, are_needed);
    judge_command(doctor.report, "sh", are_needed);
}

void check_downloads(Doctor& doctor)
{
    struct stat status = {};
    if (stat(downloads, &status) != 0)
        add_note(doctor.report,
                 "%s is missing\n"
                 "A save then finds no downloaded configuration to remove.",
                 downloads);
    else if (!S_ISDIR(status.st_mode) || access(downloads, W_OK | X_OK) != 0)
        add_wrong(doctor.report,
                  "%s is not a directory that can be changed\n"
                  "A save cannot remove downloaded configurations from it.",
                  downloads);
    else
        add_ok(doctor.report, "%s is there", downloads);
}

void check_machine(Doctor& doctor)
{
    const std::uint16_t one = 1;
    unsigned char first_byte = 0;
    std::memcpy(&first_byte, &one, 1);
    add_ok(doctor.report, "the page size is %ld bytes", sysconf(_SC_PAGESIZE));
    add_ok(doctor.report, "the byte order is %s-endian", first_byte == 1 ? "little" : "big");
    add_ok(doctor.report, "long has %zu bits", sizeof(long) * CHAR_BIT);
    add_ok(doctor.report, "char is %s", CHAR_MIN < 0 ? "signed" : "unsigned");
}

void check_c_library(Doctor& doctor)
{
    char version[64] = "of no known version";
#ifdef _CS_GNU_LIBC_VERSION
    confstr(_CS_GNU_LIBC_VERSION, version, sizeof version);
#endif
    add_ok(doctor.report, "the C library is %s", version);
}

void check_cpp_library(Doctor& doctor)
{
#ifdef _GLIBCXX_RELEASE
    add_ok(doctor.report, "the C++ library of the build is libstdc++ %d", _GLIBCXX_RELEASE);
#else
    add_ok(doctor.report, "the C++ library of the build is not libstdc++");
#endif
}

bool is_of_interest(std::string_view file)
{
    constexpr const char* names[] = {"/libcds", "/libstdc++", "/libc++", "/libc.so"};
    return std::any_of(std::begin(names), std::end(names),
                       [&](const char* name) { return file.find(name) != std::string_view::npos; });
}

// The name of the file itself says the version of the library.
int add_loaded(dl_phdr_info* object, std::size_t /*size*/, void* report)
{
    char resolved[PATH_MAX];
    if (is_of_interest(object->dlpi_name) && realpath(object->dlpi_name, resolved) != nullptr)
        add_ok(*static_cast<Report*>(report), "%s is loaded", resolved);
    return 0;
}

void check_loaded(Doctor& doctor)
{
    dl_iterate_phdr(add_loaded, &doctor.report);
}

constexpr Check system_checks[] = {
    {"shell", check_shell, RunWhen::asked},
    {"commands", check_commands, RunWhen::asked},
    {"downloads", check_downloads, RunWhen::asked},
    {"machine", check_machine, RunWhen::asked},
    {"c-library", check_c_library, RunWhen::asked},
    {"c++-library", check_cpp_library, RunWhen::asked},
    {"loaded-libraries", check_loaded, RunWhen::asked},
};

} // namespace

void check_system(Doctor& doctor)
{
    run_checks(doctor, "System", system_checks);
}
