// Every wait with every kind of time-out in every situation, in virtual time: when it returns, to the
// nanosecond, and what it says.
//   spf-time-outs
// Prints one line per case that is not as it must be, and the figure on the last line.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

#include "FakeFramework.hpp"
#include "Scheduler.hpp"
#include "agent/spf/frameworksetup/ConfigTracker.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"
#include "tracking/frameworkEvents.hpp"

namespace {

using namespace agent::spf::frameworksetup;
using interleaving::Nanoseconds;
using interleaving::Scheduler;
using std::chrono::milliseconds;

// What is waited on: a tracker, or the handle of a published configuration.
class Waited {
public:
    virtual ~Waited() = default;
    virtual bool waitForAllEndpoints(milliseconds const& timeout) = 0;
    virtual bool waitForAllServices(milliseconds const& timeout) = 0;
    virtual bool waitForAllServicesToBeUnpublished(milliseconds const& timeout) = 0;
    // Reports what all three wait for.
    virtual void complete() = 0;
    virtual void fail() = 0;
};

class WaitedTracker : public Waited {
public:
    bool waitForAllEndpoints(milliseconds const& timeout) override {
        return tracker_.waitForAllEndpoints(timeout);
    }
    bool waitForAllServices(milliseconds const& timeout) override {
        return tracker_.waitForAllServices(timeout);
    }
    bool waitForAllServicesToBeUnpublished(milliseconds const& timeout) override {
        return tracker_.waitForAllServicesToBeUnpublished(timeout);
    }
    void complete() override {
        tracker_.completeEndpointBind(test::endpoint("b"));
        tracker_.completeAllServicesPublished();
        tracker_.completeConfigurationRemoved();
    }
    void fail() override { tracker_.configurationErrored(test::errorWith("refused")); }

private:
    ConfigTracker tracker_{{test::endpoint("b")}, {}, true};
};

class WaitedHandle : public Waited {
public:
    WaitedHandle() {
        interleaving::FakeHost::instance().reset(framework_);
        framework_.onRegistered = [this](auto const& listener) { listener_ = listener; };
        handle_ = SPFConfigurationBuilder("id")
                      .addServicePublisher({"p", "rpcservicepublisher", {}, {test::endpoint("b")}, "", ""})
                      .build();
    }
    bool waitForAllEndpoints(milliseconds const& timeout) override {
        return handle_.waitForAllEndpoints(timeout, "p");
    }
    bool waitForAllServices(milliseconds const& timeout) override {
        return handle_.waitForAllServices(timeout, "p");
    }
    bool waitForAllServicesToBeUnpublished(milliseconds const& timeout) override {
        return handle_.waitForAllServicesToBeUnpublished(timeout, "p");
    }
    void complete() override {
        listener_->handleEvent(test::bound("b", "p"));
        listener_->handleEvent(test::allServicesPublished("p"));
        listener_->handleEvent(test::configurationRemoved("p"));
    }
    void fail() override { listener_->handleEvent(test::errored(test::errorWith("refused"), "p")); }

private:
    interleaving::FakeFramework framework_;
    std::shared_ptr<interleaving::FrameworkListener> listener_; // also when it is not registered
    SPFConfiguration handle_;
};

struct Wait {
    char const* name;
    bool (Waited::*call)(milliseconds const&);
};

struct TimeOut {
    char const* name;
    milliseconds duration;
    bool ends; // false when it lies beyond the clock's range
};

// What is reported, and when: at once means before the wait begins.
struct Situation {
    char const* name;
    std::optional<milliseconds> reportedAfter; // nothing: never
    bool error;
};

enum class Outcome { True, False, Error };

struct Result {
    Outcome outcome;
    Nanoseconds after;
    bool operator==(Result const& other) const { return outcome == other.outcome && after == other.after; }
};

constexpr Wait waits[] = {
    {"waitForAllEndpoints", &Waited::waitForAllEndpoints},
    {"waitForAllServices", &Waited::waitForAllServices},
    {"waitForAllServicesToBeUnpublished", &Waited::waitForAllServicesToBeUnpublished},
};

constexpr milliseconds hundredYears = std::chrono::hours(24) * 36525;

constexpr Situation situations[] = {
    {"done already", milliseconds(0), false},
    {"done later", milliseconds(200), false},
    {"done at the deadline of 450 ms", milliseconds(450), false},
    {"never done", std::nullopt, false},
    {"failed already", milliseconds(0), true},
    {"failed later", milliseconds(200), true},
};

// The longest time-out whose deadline the clock can tell, from the beginning of virtual time, is the edge.
std::vector<TimeOut> timeOuts(Nanoseconds beginning) {
    milliseconds const edge((interleaving::never - beginning) / 1'000'000);
    return {
        {"min", milliseconds::min(), true},
        {"-1", milliseconds(-1), true},
        {"0", milliseconds(0), true},
        {"450 ms", milliseconds(450), true},
        {"the last before overflow", edge, true},
        {"the first beyond overflow", edge + milliseconds(1), false},
        {"max", milliseconds::max(), false},
    };
}

Nanoseconds nanoseconds(milliseconds const& duration) {
    return std::chrono::nanoseconds(duration).count();
}

// When something is reported: a wait that would never end is released after a hundred years.
std::optional<milliseconds> reportTime(TimeOut const& timeOut, Situation const& situation) {
    return situation.reportedAfter || timeOut.ends ? situation.reportedAfter : hundredYears;
}

Result expected(TimeOut const& timeOut, Situation const& situation) {
    auto const reported = reportTime(timeOut, situation);
    auto const waited = std::max(timeOut.duration, milliseconds(0));
    auto const inTime = reported && (*reported == milliseconds(0) || !timeOut.ends || *reported < waited);
    if (!inTime) {
        return {Outcome::False, nanoseconds(waited)};
    }
    return {situation.error ? Outcome::Error : Outcome::True, nanoseconds(*reported)};
}

Result measure(Wait const& wait, TimeOut const& timeOut, Waited& waited) {
    auto const before = Scheduler::instance().now();
    auto outcome = Outcome::Error;
    try {
        outcome = (waited.*wait.call)(timeOut.duration) ? Outcome::True : Outcome::False;
    } catch (std::exception const&) {
        // An outcome like the others.
    }
    return {outcome, Scheduler::instance().now() - before};
}

template <typename Waitable>
Result run(Wait const& wait, TimeOut const& timeOut, Situation const& situation) {
    Waitable waited;
    auto const report = [&] { situation.error ? waited.fail() : waited.complete(); };
    auto const when = reportTime(timeOut, situation);
    if (when == milliseconds(0)) {
        report();
    }
    if (!when || when == milliseconds(0)) {
        return measure(wait, timeOut, waited);
    }
    Result result = {};
    // The waiter first: at a deadline that is also the moment of the report, it is the time-out that counts.
    interleaving::inParallel({[&] { result = measure(wait, timeOut, waited); },
                              [&] {
                                  std::this_thread::sleep_for(*when);
                                  report();
                              }});
    return result;
}

class FirstOption : public interleaving::Chooser {
public:
    std::size_t choose(std::vector<interleaving::Option> const&) override { return 0; }
};

std::string describe(Result const& result) {
    static constexpr char const* names[] = {"true", "false", "the error"};
    return std::string(names[static_cast<int>(result.outcome)]) + " after " + std::to_string(result.after) +
           " ns";
}

class Table {
public:
    template <typename Waitable>
    void runAll(char const* waitable) {
        for (auto const& wait : waits) {
            for (auto const& situation : situations) {
                runRow<Waitable>(waitable, wait, situation);
            }
        }
    }
    int cases() const { return cases_; }
    int wrong() const { return wrong_; }

private:
    template <typename Waitable>
    void runRow(char const* waitable, Wait const& wait, Situation const& situation) {
        for (std::size_t column = 0; column < timeOuts(0).size(); ++column) {
            FirstOption chooser;
            Scheduler::instance().run(
                [&] {
                    auto const timeOut = timeOuts(Scheduler::instance().now())[column];
                    check(std::string(waitable) + " " + wait.name + ", time-out " + timeOut.name + ", " +
                              situation.name,
                          run<Waitable>(wait, timeOut, situation), expected(timeOut, situation));
                },
                chooser);
        }
    }

    void check(std::string const& name, Result const& result, Result const& right) {
        ++cases_;
        if (!(result == right)) {
            ++wrong_;
            std::printf("%s: %s; must be %s\n", name.c_str(), describe(result).c_str(),
                        describe(right).c_str());
        }
    }

    int cases_ = 0;
    int wrong_ = 0;
};

} // namespace

int main() {
    Scheduler::instance().onFinding([](std::string const& finding) {
        std::printf("%s\n", finding.c_str());
        std::fflush(stdout);
        ::_exit(1);
    });
    Table table;
    table.runAll<WaitedTracker>("ConfigTracker");
    table.runAll<WaitedHandle>("SPFConfiguration");
    std::printf("%d cases of 3 waits, 7 time-outs, 6 situations, %d wrong\n", table.cases(), table.wrong());
    return table.wrong() == 0 ? 0 : 1;
}
