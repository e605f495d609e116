// Ends main() while another thread starts the framework, with a bundle that comes back from its start but not
// from its stop. Once exit() waits for the start the program's clock leaps ahead, and the system's does not:
// the wait for the stop ends soon all the same, unless it is given a time of its own, which ends in an hour.
#include <atomic>
#include <cstdio>
#include <ctime>
#include <future>
#include <string>
#include <thread>
#include <utility>

#include <dlfcn.h>

#include "Farewell.hpp"
#include "HostTest.hpp"
#include "agent/host/FrameworkAccess.hpp"
#include "agent/host/standalone/StandaloneHost.hpp"

host_test::Farewell const farewell{"static objects go"};

namespace {

std::promise<void> starting;
std::promise<void> exiting;
thread_local bool isMainOver = false;
std::atomic<std::time_t> leap{0}; // seconds

void report(std::string const& event) {
    std::puts(event.c_str());
    if (event != "start host_test_alpha") {
        std::promise<void>().get_future().wait();
    }
    starting.set_value();
    exiting.get_future().wait();
    leap = 3600;
}

} // namespace

extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t clock,
                                                                    timespec* time) noexcept {
    static auto* const call =
        reinterpret_cast<decltype(&::clock_gettime)>(::dlsym(RTLD_NEXT, "clock_gettime"));
    auto const result = call(clock, time);
    time->tv_sec += leap;
    if (std::exchange(isMainOver, false)) {
        exiting.set_value(); // exit() has set its time
    }
    return result;
}

int main() {
    host_test::TemporaryInstallation const installation;
    installation.addMicroservice("host_test_alpha");
    agent::host::standalone::setInstallationRoot(installation.root());
    host_test::Probe::instance().onReport(report);
    std::thread([] { agent::host::getFramework(); }).detach();
    starting.get_future().wait();
    std::puts("end of main");
    isMainOver = true;
}
