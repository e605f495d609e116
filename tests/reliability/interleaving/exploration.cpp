// Runs a scenario under many schedules.
#include "exploration.hpp"

#include <csignal>
#include <cstdio>

#include <unistd.h>

#include "Scheduler.hpp"
#include "allocation.hpp"
#include "choosers.hpp"
#include "sanitizers.hpp"

namespace interleaving {

namespace {

// What runs now, for reports.
Scenario const* running = nullptr;
SeededChooser const* choosing = nullptr;

constexpr unsigned hangSeconds = 60; // a run that blocks for real, where the scheduler does not see it

void reportFinding(std::string const& finding) {
    std::printf("%s: FOUND: %s\n    repeat with: --scenario %s --replay %s\n", running->name.c_str(),
                finding.c_str(), running->name.c_str(), choosing->seed().c_str());
    std::fflush(stdout);
    ::_exit(1);
}

void reportSignal(int number) {
    reportFinding(number == SIGALRM ? "a run does not end" : "crash, signal " + std::to_string(number));
}

// The stack of a fiber may be what is broken.
void catchSignals() {
    static char stack[64 * 1024];
    ::stack_t alternative = {};
    alternative.ss_sp = stack;
    alternative.ss_size = sizeof stack;
    ::sigaltstack(&alternative, nullptr);
    for (auto const number : {SIGSEGV, SIGBUS, SIGFPE, SIGABRT, SIGALRM}) {
        struct sigaction action = {};
        action.sa_handler = &reportSignal;
        action.sa_flags = SA_ONSTACK;
        ::sigaction(number, &action, nullptr);
    }
}

// Runs the scenario once. Returns by how many pieces of memory the process has grown.
std::ptrdiff_t runOnce(SeededChooser& chooser) {
    choosing = &chooser;
    auto& scheduler = Scheduler::instance();
    ::alarm(hangSeconds);
    auto const before = livePieces();
    chooser.rewind();
    beginHolding();
    scheduler.run(running->program, chooser);
    if (!releaseHeld()) {
        reportFinding("memory was written to after it had been freed");
    }
    ::alarm(0);
    return static_cast<std::ptrdiff_t>(livePieces() - before);
}

// A schedule may leave more behind than its predecessor, such as a list that the library keeps; one that
// leaves more behind every time leaks.
void check(SeededChooser& chooser) {
    if (runOnce(chooser) > 0 && runOnce(chooser) > 0) {
        reportFinding("memory is leaked");
    }
}

void begin(Scenario const& scenario) {
    running = &scenario;
    catchSignals();
    auto& scheduler = Scheduler::instance();
    scheduler.onFinding(&reportFinding);
    scheduler.allowSpuriousWakeUps(true);
    scheduler.allowExpiry(scenario.expiry);
}

} // namespace

Figures explore(Scenario const& scenario, Limits const& limits) {
    begin(scenario);
    auto const bound = scenario.threads <= 2 ? limits.preemptions : limits.preemptionsOfMore;
    Figures figures = {false, bound, false, 0, 0};
    BoundedChooser bounded(bound);
    runOnce(bounded); // what is initialised on first use is no leak
    auto const length = bounded.length();
    do {
        check(bounded);
        ++figures.schedules;
        figures.complete = !bounded.advance();
    } while (!figures.complete && figures.schedules < limits.mostSchedules);
    if (scenario.threads > 2) {
        for (; figures.randomSchedules < limits.randomSchedules; ++figures.randomSchedules) {
            PriorityChooser random(limits.seed + figures.randomSchedules, length);
            check(random);
        }
    }
    figures.done = true;
    return figures;
}

void replay(Scenario const& scenario, std::string const& seed) {
    begin(scenario);
    auto const chooser = fromSeed(seed);
    Scheduler::instance().trace(true);
    check(*chooser);
}

} // namespace interleaving

#ifdef INTERLEAVING_ADDRESS_SANITIZER
// AddressSanitizer calls this after its report, and then ends the process.
extern "C" __attribute__((visibility("default"))) void __asan_on_error() {
    if (interleaving::choosing) {
        interleaving::reportFinding("AddressSanitizer reports an error");
    }
}
#endif
