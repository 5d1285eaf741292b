#include "simulator/meter.h"

#include "simulator/toml_files.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <optional>

namespace simulator
{

namespace
{

// The meter is constructed by the first call of `this_meter`, not at program start-up.
std::optional<Meter>& only_meter()
{
    static std::optional<Meter> meter;
    return meter;
}

void read_faults(Meter& meter)
{
    const std::string folder = meter_folder();
    if (folder.empty())
        return;
    const std::string file = folder + "/faults.toml";
    std::string text;
    FileStamp stamp;
    if (read_file(AT_FDCWD, file.c_str(), text, stamp)) {
        if (!parse_faults(text, file, meter.faults, meter.faults_error))
            meter.faults.clear();
    } else if (errno != ENOENT) {
        meter.faults_error = failure_text(file, "cannot be read");
    }
}

} // namespace

Meter& this_meter()
{
    std::optional<Meter>& meter = only_meter();
    if (!meter) {
        meter.emplace();
        read_faults(*meter);
    }
    return *meter;
}

std::string meter_folder()
{
    const char* folder = std::getenv("METER_SIM_DIR");
    return folder == nullptr ? "" : folder;
}

void print_trouble(std::string text)
{
    for (char& character : text) {
        const auto code = static_cast<unsigned char>(character);
        if (code < 0x20 || code == 0x7F)
            character = '?';
    }
    text += '\n';
    // A failed write is ignored, because there is no other output for the error.
    [[maybe_unused]] const ssize_t ignored = write(STDERR_FILENO, text.data(), text.size());
}

void forget_meter()
{
    only_meter().reset();
}

} // namespace simulator
