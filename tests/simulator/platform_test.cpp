#include "tests/simulator/test_meter.h"

#include <doctest/doctest.h>

#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>

namespace
{

namespace fs = std::filesystem;

constexpr char reset_command[] = "fw_reset.sh > /dev/null 2>&1";
constexpr char remove_command[] = "rm -rf /jffs/downloads/vmconfig.*";
constexpr int failed = 256;
constexpr int not_found = 32512;

double seconds_of(const std::function<void()>& act)
{
    const auto begin = std::chrono::steady_clock::now();
    act();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

void do_nothing(int) {}

} // namespace

TEST_CASE("the factory reset copies the factory file as it is")
{
    const TestMeter meter("\"/a\" = 1\n");
    TestStore store;
    CHECK(get(store, {"/a"}) == "0: 1 1");
    meter.write("factory.toml", "# kept\n\"/z\" = 2\n\"/a\" = 3\n");
    CHECK(system(reset_command) == 0);
    CHECK(meter.read("store.toml") == "# kept\n\"/z\" = 2\n\"/a\" = 3\n");
    CHECK(get(store, {"/a"}) == "0: 1 3");
    CHECK_FALSE(meter.has("store.toml.new"));
}

TEST_CASE("without a factory file the reset succeeds and changes nothing")
{
    const TestMeter meter("\"/a\" = 1\n");
    CHECK(system(reset_command) == 0);
    CHECK(meter.read("store.toml") == "\"/a\" = 1\n");
}

TEST_CASE("a broken factory file is copied, and fails the next connection")
{
    const TestMeter meter("\"/a\" = 1\n");
    meter.write("factory.toml", "broken");
    CHECK(system(reset_command) == 0);
    CHECK(meter.read("store.toml") == "broken");
    pcd_connection* connection = nullptr;
    CHECK(standard_error_of([&] { connection = pcd_init(0); }) != "");
    CHECK(connection == nullptr);
}

TEST_CASE("the reset restores a missing store")
{
    const TestMeter meter("");
    fs::remove(meter.path("store.toml"));
    meter.write("factory.toml", "\"/a\" = 3\n");
    CHECK(system(reset_command) == 0);
    CHECK(meter.read("store.toml") == "\"/a\" = 3\n");
}

TEST_CASE("a reset that cannot read or write its files fails and keeps the store")
{
    const TestMeter meter("\"/a\" = 1\n");
    fs::create_directory(meter.path("factory.toml"));
    CHECK(system(reset_command) == failed);
    fs::remove(meter.path("factory.toml"));
    meter.write("factory.toml", "\"/a\" = 3\n");
    fs::create_directories(meter.path("store.toml.new/in the way"));
    CHECK(system(reset_command) == failed);
    CHECK(meter.read("store.toml") == "\"/a\" = 1\n");
}

TEST_CASE("the removal deletes the vmconfig files in the meter's downloads")
{
    const TestMeter meter("");
    fs::create_directories(meter.path("jffs/downloads/vmconfig.d/inner"));
    for (const char* name : {"vmconfig.a", "vmconfig.", "vmconfig.d/inner/file", "vmconfig",
                             "xvmconfig.a", "VMCONFIG.a", "keep"})
        meter.write("jffs/downloads/" + std::string(name), "x");
    meter.write("vmconfig.up", "x");
    CHECK(system(remove_command) == 0);
    for (const char* name : {"vmconfig.a", "vmconfig.", "vmconfig.d"})
        CHECK_FALSE(meter.has("jffs/downloads/" + std::string(name)));
    for (const char* name : {"vmconfig", "xvmconfig.a", "VMCONFIG.a", "keep"})
        CHECK(meter.has("jffs/downloads/" + std::string(name)));
    CHECK(meter.has("vmconfig.up"));
}

TEST_CASE("the removal never follows a link")
{
    const TestMeter meter("");
    fs::create_directories(meter.path("outside"));
    meter.write("outside/vmconfig.a", "x");
    fs::create_directories(meter.path("jffs/downloads/vmconfig.d"));
    fs::create_directory_symlink(meter.path("outside"), meter.path("jffs/downloads/vmconfig.link"));
    fs::create_directory_symlink(meter.path("outside"),
                                 meter.path("jffs/downloads/vmconfig.d/link"));
    CHECK(system(remove_command) == 0);
    CHECK_FALSE(meter.has("jffs/downloads/vmconfig.link"));
    CHECK_FALSE(meter.has("jffs/downloads/vmconfig.d"));
    CHECK(meter.has("outside/vmconfig.a"));

    fs::remove(meter.path("jffs/downloads"));
    fs::create_directory_symlink(meter.path("outside"), meter.path("jffs/downloads"));
    CHECK(system(remove_command) == failed);
    CHECK(meter.has("outside/vmconfig.a"));
}

TEST_CASE("without downloads the removal succeeds")
{
    const TestMeter meter("");
    CHECK(system(remove_command) == 0);
    fs::create_directories(meter.path("jffs/downloads"));
    CHECK(system(remove_command) == 0);
}

TEST_CASE("the other commands of the utility succeed")
{
    const TestMeter meter("\"/a\" = 1\n");
    CHECK(system("sernetpwreset.sh > /dev/null 2>&1") == 0);
    CHECK(system("vmkeys -m >/dev/null 2>&1") == 0);
    CHECK(system("/etc/init.d/network restart > /dev/null 2>&1") == 0);
    CHECK(meter.read("store.toml") == "\"/a\" = 1\n");
}

TEST_CASE("any other command is not run, and its status is \"not found\"")
{
    const TestMeter meter("\"/a\" = 1\n");
    meter.write("factory.toml", "\"/a\" = 3\n");
    CHECK(system(("touch " + meter.path("touched")).c_str()) == not_found);
    CHECK_FALSE(meter.has("touched"));
    for (const char* command :
         {"", "true", "exit 0", "fw_reset.sh", "fw_reset.sh > /dev/null 2>&1 ",
          "vmkeys -m > /dev/null 2>&1", "rm -rf /jffs/downloads/vmconfig.x"})
        CHECK(system(command) == not_found);
    CHECK(meter.read("store.toml") == "\"/a\" = 1\n");
}

TEST_CASE("there is no shell")
{
    const TestMeter meter("");
    CHECK(system(nullptr) == 0);
}

TEST_CASE("without a meter the commands that need one fail")
{
    const TestMeter meter("");
    setenv("METER_SIM_DIR", "", 1);
    CHECK(system(reset_command) == failed);
    CHECK(system(remove_command) == failed);
    CHECK(system("vmkeys -m >/dev/null 2>&1") == 0);
}

TEST_CASE("a pause lasts its seconds")
{
    const TestMeter meter("");
    unsigned left = 77;
    CHECK(seconds_of([&] { left = sleep(1); }) >= 1.0);
    CHECK(left == 0);
}

TEST_CASE("an empty METER_SIM_NO_DELAY keeps the pauses")
{
    const TestMeter meter("");
    setenv("METER_SIM_NO_DELAY", "", 1);
    CHECK(seconds_of([] { sleep(1); }) >= 1.0);
}

TEST_CASE("METER_SIM_NO_DELAY skips the pauses")
{
    const TestMeter meter("");
    setenv("METER_SIM_NO_DELAY", "0", 1);
    unsigned left = 77;
    CHECK(seconds_of([&] { left = sleep(30); }) < 5.0);
    CHECK(left == 0);
}

TEST_CASE("a signal ends a pause, and the remaining seconds are returned")
{
    const TestMeter meter("");
    struct sigaction action = {};
    action.sa_handler = do_nothing;
    struct sigaction before;
    sigaction(SIGALRM, &action, &before);
    const itimerval timer = {{0, 50'000}, {0, 50'000}}; // repeats, in case the pause begins late
    setitimer(ITIMER_REAL, &timer, nullptr);
    unsigned left = 0;
    CHECK(seconds_of([&] { left = sleep(30); }) < 5.0);
    CHECK(left == 30); // an incomplete second counts as a whole second
    const itimerval no_timer = {};
    setitimer(ITIMER_REAL, &no_timer, nullptr);
    sigaction(SIGALRM, &before, nullptr);
}
