#include "simulator/cdsctl/commands.h"
#include "tests/simulator/failing_call.h"
#include "tests/simulator/test_meter.h"

#include <doctest/doctest.h>

#include <cerrno>
#include <csignal>

using namespace cdsctl;

namespace
{

// Runs the command, which must fail. Returns the text that the command prints to standard error.
std::string said_by(Status (*command)(const Request& request), const Request& request)
{
    Status status = done;
    std::string said = standard_error_of([&] { status = command(request); });
    CHECK(status == store_failed);
    return said;
}

Request request_on(const TestMeter& meter, const std::vector<std::string>& operands = {})
{
    Request request;
    request.folder = meter.folder;
    request.operands = operands;
    return request;
}

} // namespace

TEST_CASE("a directory of a new meter that cannot be locked is reported")
{
    const TestMeter meter("");
    const std::string folder = meter.path("new");
    const FailingCall failing("flock", ENOLCK);
    CHECK(said_by(make_meter, request_on(meter, {folder})) ==
          "cdsctl: " + folder + ": cannot be locked: No locks available\n");
    CHECK_FALSE(meter.has("new/store.toml"));
}

TEST_CASE("a wait that fails ends the watch")
{
    const TestMeter meter("\"/a\" = 1\n");
    sigset_t signals;
    sigprocmask(SIG_BLOCK, nullptr, &signals);
    const FailingCall failing("poll", ENOMEM);
    CHECK(said_by(watch_leaves, request_on(meter)) ==
          "cdsctl: watching " + meter.folder + "\ncdsctl: " + meter.folder +
              ": cannot be watched: Cannot allocate memory\n");
    sigprocmask(SIG_SETMASK, &signals, nullptr);
}
