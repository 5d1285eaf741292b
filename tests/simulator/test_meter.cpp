#include "tests/simulator/test_meter.h"

#include "simulator/meter.h"
#include "simulator/trace.h"

#include <doctest/doctest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace
{

std::string new_folder()
{
    std::string name = TEST_FOLDER "/meter-XXXXXX";
    REQUIRE(mkdtemp(name.data()) != nullptr);
    return name;
}

std::string statuses_shown(int result, const std::vector<api_status_t>& statuses)
{
    std::string out = std::to_string(result) + ":";
    for (const api_status_t status : statuses)
        out += " " + std::to_string(status);
    return out;
}

} // namespace

TestMeter::TestMeter(const std::string& store_text) : folder(new_folder())
{
    setenv("METER_SIM_DIR", folder.c_str(), 1);
    unsetenv("METER_SIM_TRACE");
    unsetenv("METER_SIM_NO_DELAY");
    simulator::forget_meter();
    simulator::forget_trace();
    write("store.toml", store_text);
}

TestMeter::~TestMeter()
{
    std::filesystem::remove_all(folder);
    unsetenv("METER_SIM_DIR");
    unsetenv("METER_SIM_TRACE");
}

std::string TestMeter::path(const std::string& name) const
{
    return folder + "/" + name;
}

void TestMeter::write(const std::string& name, const std::string& text) const
{
    std::ofstream(path(name), std::ios::binary) << text;
}

std::string TestMeter::read(const std::string& name) const
{
    std::ifstream file(path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool TestMeter::has(const std::string& name) const
{
    return std::filesystem::exists(std::filesystem::symlink_status(path(name)));
}

void TestMeter::begin_trace() const
{
    setenv("METER_SIM_TRACE", path("trace").c_str(), 1);
}

TestStore::TestStore()
{
    handle = pcd_init(0);
    REQUIRE(handle != nullptr);
}

TestStore::~TestStore()
{
    pcd_close(handle);
}

toolkit::CElement boolean(bool value)
{
    toolkit::CElement element;
    element = value;
    return element;
}

toolkit::CElement integer(std::int32_t value)
{
    toolkit::CElement element;
    element = value;
    return element;
}

toolkit::CElement text(const std::string& value)
{
    toolkit::CElement element;
    element = value;
    return element;
}

std::string shown(const toolkit::CElement& element)
{
    std::string out;
    element.to_string(out);
    return element.type() == 6 ? "'" + out + "'" : out;
}

std::string get(toolkit::CCds& store, const std::vector<std::string>& paths)
{
    std::vector<api_status_t> statuses = {77, 77, 77};
    std::vector<toolkit::CElement> elements = {text("left"), text("from"), text("before")};
    std::vector<toolkit::element_property_t> properties;
    const int result = store.get_leaves(paths, statuses, elements, properties);
    REQUIRE(statuses.size() == paths.size());
    REQUIRE(elements.size() == paths.size());
    REQUIRE(properties.size() == paths.size());

    std::string out = std::to_string(result) + ":";
    for (std::size_t i = 0; i < paths.size(); ++i)
        out += (i == 0 ? " " : ", ") + std::to_string(statuses[i]) + " " + shown(elements[i]);
    return out;
}

std::string set(toolkit::CCds& store, const std::string& path, const toolkit::CElement& value)
{
    api_status_t status = 77;
    const int result = store.set_leaf(path, value, status, 1, "");
    return statuses_shown(result, {status});
}

std::string set_all(toolkit::CCds& store, const std::vector<std::string>& paths,
                    const std::vector<toolkit::CElement>& values, const std::string& source)
{
    std::vector<api_status_t> statuses = {77, 77, 77};
    const std::vector<pcd_tribool_t> flags(paths.size(), 1);
    const int result = store.set_leaves(paths, values, flags, statuses, source);
    return statuses_shown(result, statuses);
}

std::string clear(toolkit::CCds& store, const std::vector<std::string>& paths)
{
    std::vector<api_status_t> statuses = {77, 77, 77};
    const int result = store.clear_leaves(paths, statuses, "");
    return statuses_shown(result, statuses);
}

std::string standard_error_of(const std::function<void()>& act)
{
    std::FILE* caught =
        std::fopen((TEST_FOLDER "/stderr-" + std::to_string(getpid())).c_str(), "w+");
    REQUIRE(caught != nullptr);
    std::filesystem::remove(TEST_FOLDER "/stderr-" + std::to_string(getpid()));
    const int kept = dup(STDERR_FILENO);
    dup2(fileno(caught), STDERR_FILENO);
    act();
    dup2(kept, STDERR_FILENO);
    close(kept);

    std::string out;
    std::rewind(caught);
    for (int character; (character = std::fgetc(caught)) != EOF;)
        out += static_cast<char>(character);
    std::fclose(caught);
    return out;
}

int start_process(const std::function<int()>& act)
{
    const pid_t process = fork();
    REQUIRE(process >= 0);
    if (process == 0)
        _exit(act());
    return process;
}

int wait_for_process(int process)
{
    int status = 0;
    REQUIRE(waitpid(process, &status, 0) == process);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int exit_status_of(const std::function<int()>& act)
{
    return wait_for_process(start_process(act));
}

void let_file_settle()
{
    const timespec pause = {0, 150'000'000};
    nanosleep(&pause, nullptr);
}
