#include "console/command.h"
#include "doctor/doctor.h"

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

// Returns false on the simulated meter, which runs no shell. The simulated meter carries out the
// commands itself, so a missing command does no harm there.
bool has_shell()
{
    return std::system(nullptr) != 0;
}

void check_shell()
{
    begin_check("shell");
    if (has_shell())
        report(ok, "system() has a shell");
    else if (access("/bin/sh", X_OK) == 0)
        report(note, "system() runs no command: this is a simulated meter\n"
                     "A missing command is a note here. On a meter it is WRONG.");
    else
        report(wrong, "system() has no shell: /bin/sh is missing\n"
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

// Returns the file that the shell runs for a command. The name of the command is the first `length`
// characters of `name`. If no executable file has this name, returns a file of this name that is
// not executable. If there is no file of this name, returns an empty path.
File find_command(const char* name, int length)
{
    const char* directory = std::getenv("PATH");
    if (directory == nullptr || *name == '/')
        directory = "/";
    File found = {};
    for (;;) {
        const auto end = static_cast<int>(std::strcspn(directory, ":"));
        File file;
        // An empty entry in PATH means the working directory.
        std::snprintf(file.path, sizeof file.path, "%.*s%s%.*s", end, directory,
                      end == 0 ? "./" : "/", length, name);
        if (is_executable(file))
            return file;
        if (is_file(file))
            found = file;
        if (directory[end] == '\0')
            return found;
        directory += end + 1;
    }
}

void judge_command(const char* name, Verdict verdict)
{
    constexpr char problem[] =
        "command %.*s is %s%s\n"
        "Install it and make it executable. The utility does not notice when it fails.";
    const auto length = static_cast<int>(std::strcspn(name, " "));
    const File file = find_command(name, length);
    const Words path = quoted(file.path);
    if (file.path[0] == '\0')
        report(verdict, problem, length, name, "missing", "");
    else if (!is_executable(file))
        report(verdict, problem, length, name, "not executable: ", path.text);
    else
        report(ok, "command %.*s: %s", length, name, path.text);
}

void check_commands()
{
    begin_check("commands");
    const Verdict verdict = has_shell() ? wrong : note;
    for (const CommandLine& line : command_lines)
        judge_command(line.text, verdict);
    judge_command("sh", verdict);
}

// Checks the directory from which a save removes downloaded configurations.
void check_downloads()
{
    begin_check("downloads");
    constexpr char downloads[] = "/jffs/downloads";
    struct stat status = {};
    if (stat(downloads, &status) != 0)
        report(note,
               "%s is missing\n"
               "Create it if this meter downloads configurations. A save removes them from there.",
               downloads);
    else if (!S_ISDIR(status.st_mode) || access(downloads, W_OK | X_OK) != 0)
        report(wrong,
               "%s is not a directory that can be changed\n"
               "Correct it. A save cannot remove downloaded configurations from it.",
               downloads);
    else
        report(ok, "%s exists", downloads);
}

void check_machine()
{
    begin_check("machine");
    constexpr char byte_orders[][7] = {"big", "little"};
    constexpr char signs[][9] = {"unsigned", "signed"};
    const std::uint16_t one = 1;
    unsigned char first_byte = 0;
    std::memcpy(&first_byte, &one, 1);
    report(ok, "the page size is %ld bytes", sysconf(_SC_PAGESIZE));
    report(ok, "the byte order is %s-endian", byte_orders[first_byte]);
    report(ok, "long has %zu bits", sizeof(long) * CHAR_BIT);
    report(ok, "char is %s", signs[static_cast<int>(CHAR_MIN < 0)]);
}

void check_c_library()
{
    begin_check("c-library");
    char version[64] = "of no known version";
#ifdef _CS_GNU_LIBC_VERSION
    confstr(_CS_GNU_LIBC_VERSION, version, sizeof version);
#endif
    report(ok, "the C library is %s", version);
}

void check_cpp_library()
{
    begin_check("c++-library");
#ifdef _GLIBCXX_RELEASE
    report(ok, "the C++ library of the build is libstdc++ %d", _GLIBCXX_RELEASE);
#else
    report(ok, "the C++ library of the build is not libstdc++");
#endif
}

bool is_of_interest(const char* file)
{
    constexpr char names[][12] = {"/libcds", "/libstdc++", "/libc++", "/libc.so"};
    bool is_one = false;
    for (const auto& name : names)
        is_one = is_one || std::strstr(file, name) != nullptr;
    return is_one;
}

// Reports a loaded library. Resolves links, because the name of the real file contains the version.
int report_loaded(dl_phdr_info* object, std::size_t /*size*/, void* /*unused*/)
{
    char resolved[PATH_MAX];
    if (is_of_interest(object->dlpi_name) && realpath(object->dlpi_name, resolved) != nullptr)
        report(ok, "%s is loaded", resolved);
    return 0;
}

void check_loaded()
{
    begin_check("loaded-libraries");
    dl_iterate_phdr(report_loaded, nullptr);
}

} // namespace

void check_system()
{
    begin_group("System");
    check_shell();
    check_commands();
    check_downloads();
    check_machine();
    check_c_library();
    check_cpp_library();
    check_loaded();
}
