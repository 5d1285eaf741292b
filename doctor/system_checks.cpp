#include "console/command.h"
#include "doctor/doctor.h"

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
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
        add_note(doctor.report, "Missing commands are only to note here. A meter needs them.",
                 "system() runs no command: this is a simulated meter");
    else
        add_wrong(doctor.report, "Install a shell. The utility runs its commands with it.",
                  "system() has no shell: there is no /bin/sh");
}

bool is_file(const std::string& path)
{
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

bool is_executable(const std::string& path)
{
    return is_file(path) && access(path.c_str(), X_OK) == 0;
}

// The file that the shell runs for a command, or else one of that name that is not executable.
// Empty when there is none.
std::string find_command(const std::string& name)
{
    const char* path = std::getenv("PATH");
    std::string_view directories = path != nullptr ? path : "";
    if (name[0] == '/')
        directories = "/";
    std::string found;
    for (;;) {
        const std::size_t end = directories.find(':');
        std::string file(directories.substr(0, end));
        file += file.empty() ? "./" : "/"; // an empty one is the present directory
        file += name;
        if (is_executable(file))
            return file;
        if (is_file(file))
            found = file;
        if (end == std::string_view::npos)
            return found;
        directories.remove_prefix(end + 1);
    }
}

void judge_command(Report& report, const std::string& name, bool is_needed)
{
    const std::string file = find_command(name);
    constexpr char advice[] = "The utility ignores the failure and reports success.";
    const auto add_problem = is_needed ? add_wrong : add_note;
    if (file.empty())
        add_problem(report, advice, "command %s is missing", name.c_str());
    else if (!is_executable(file))
        add_problem(report, advice, "command %s is not executable: %s", name.c_str(),
                    quoted(file).c_str());
    else
        add_ok(report, "command %s: %s", name.c_str(), quoted(file).c_str());
}

void check_commands(Doctor& doctor)
{
    const bool are_needed = has_shell();
    for (const char* line : command_lines)
        judge_command(doctor.report, std::string(line, std::strcspn(line, " ")), are_needed);
    judge_command(doctor.report, "sh", are_needed);
}

void check_downloads(Doctor& doctor)
{
    struct stat status = {};
    if (stat(downloads, &status) != 0)
        add_note(doctor.report, "A save then finds no downloaded configuration to remove.",
                 "%s is missing", downloads);
    else if (!S_ISDIR(status.st_mode) || access(downloads, W_OK | X_OK) != 0)
        add_wrong(doctor.report, "A save cannot remove downloaded configurations from it.",
                  "%s is not a directory that can be changed", downloads);
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
    for (const char* name : {"/libcds", "/libstdc++", "/libc++", "/libc.so"}) {
        if (file.find(name) != std::string_view::npos)
            return true;
    }
    return false;
}

// The name of the file itself says the version of the library.
int add_loaded(dl_phdr_info* object, std::size_t, void* report)
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
