// The sweep, and its search for leaks.
#include "faults/FaultSweep.hpp"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <thread>

#include "support/AllocationFailure.hpp"

namespace agent::spf::frameworksetup::test {

namespace {

// The run under way, for the message when it ends the process.
char runUnderWay[256] = "";

[[noreturn]] void terminateWithTheRun() {
    std::fprintf(stderr, "terminated in %s\n", runUnderWay);
    std::abort();
}

class Sweep {
public:
    Sweep(NamedScenario const& of, Fault const& put)
        : scenario(of)
        , fault(put) {}

    std::size_t run() {
        auto const terminate = std::set_terminate(terminateWithTheRun);
        runOnce(0); // makes what is made once per process
        std::size_t step = 1;
        while (runWithoutLeak(step) && !::testing::Test::HasFailure()) {
            ++step;
        }
        std::set_terminate(terminate);
        return step - 1;
    }

private:
    // What is made once and kept makes the first such run leave more than it found; a leak does so every
    // time.
    bool runWithoutLeak(std::size_t step) {
        constexpr auto attempts = 4;
        auto happened = false;
        std::size_t leaked = 0;
        for (auto attempt = 0; attempt < attempts; ++attempt) {
            auto const before = liveAllocations();
            happened = runOnce(step);
            leaked = allocatedSince(before);
            if (leaked == 0) {
                return happened;
            }
        }
        ADD_FAILURE() << leaked << " allocations are leaked each time in " << runUnderWay;
        return happened;
    }

    // Threads of the framework may be on their way out still.
    static std::size_t allocatedSince(std::size_t before) {
        for (auto patience = 0; liveAllocations() > before && patience < 50; ++patience) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        auto const now = liveAllocations();
        return now > before ? now - before : 0;
    }

    // Whether the fault happened; for step 0 none is armed.
    bool runOnce(std::size_t step) {
        std::snprintf(runUnderWay, sizeof runUnderWay, "%s, %s, step %zu", scenario.name.c_str(),
                      fault.name.c_str(), step);
        SCOPED_TRACE(runUnderWay);
        auto const run = scenario.make();
        auto armed = fault.arm(step);
        std::exception_ptr failure;
        try {
            run->act();
        } catch (...) {
            failure = std::current_exception();
        }
        auto const happened = armed->happened();
        armed.reset();
        EXPECT_TRUE(happened || !failure) << "an exception without a fault";
        if (failure && !scenario.wrapsExceptions) {
            EXPECT_TRUE(fault.isOf(failure)) << "another exception than the fault's came out";
        }
        run->check(failure);
        run->checkThatTheNextBuildWorks();
        return happened;
    }

    NamedScenario const& scenario;
    Fault const& fault;
};

} // namespace

std::size_t sweep(NamedScenario const& scenario, Fault const& fault) {
    auto const faults = Sweep(scenario, fault).run();
    std::cout << "faults: " << scenario.name << ": " << fault.name << ": " << faults << std::endl;
    return faults;
}

} // namespace agent::spf::frameworksetup::test
