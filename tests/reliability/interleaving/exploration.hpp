// Runs a scenario under many schedules.
#ifndef TESTS_RELIABILITY_INTERLEAVING_EXPLORATION_HPP
#define TESTS_RELIABILITY_INTERLEAVING_EXPLORATION_HPP

#include <cstdint>
#include <functional>
#include <string>

namespace interleaving {

// A program of a few threads with the rules that hold however they interleave: it calls require() for each.
struct Scenario {
    std::string name;
    unsigned threads;              // that run in parallel
    std::function<void()> program; // the same under the same choices, from whatever state the last run left
    bool expiry = false;           // whether time-outs may strike while other threads could go on
};

struct Limits {
    unsigned preemptions = 2;          // of two threads
    unsigned preemptionsOfMore = 1;    // of three and more threads
    std::uint64_t mostSchedules = 0;   // of the exhaustive part; it is incomplete beyond
    std::uint64_t randomSchedules = 0; // of three and more threads
    std::uint64_t seed = 1;            // of the first random schedule; the others count on
};

struct Figures {
    bool done; // false when something was found
    unsigned preemptions;
    bool complete; // every schedule with so many preemptions was run
    std::uint64_t schedules;
    std::uint64_t randomSchedules;
};

// Ends the process with status 1 when something is found, having printed what and the seed that repeats it.
Figures explore(Scenario const& scenario, Limits const& limits);

// One schedule, every step of which is printed.
void replay(Scenario const& scenario, std::string const& seed);

} // namespace interleaving

#endif
