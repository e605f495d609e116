// Explores the interleavings of the library's threads, scenario by scenario, each in a process of its own.
//   spf-interleavings [--list] [--scenario NAME] [--replay SEED] [--seed N]
//                     [--preemptions N] [--preemptions-of-more N] [--most-schedules N] [--random-schedules N]
// Prints one line per scenario and the sums on the last. Its status is 1 when anything is found.
#include <algorithm>
#include <cstdio>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "agent/spf/frameworksetup/frameworksetup.hpp"
#include "exploration.hpp"
#include "scenarios/scenarios.hpp"

namespace {

using interleaving::Figures;
using interleaving::Limits;
using interleaving::Scenario;

struct Arguments {
    bool list = false;
    std::string scenario;
    std::string seed;
    Limits limits = {2, 1, 100'000, 1'000, 1};
};

Arguments parse(std::vector<std::string> const& words) {
    Arguments arguments;
    for (std::size_t i = 0; i < words.size(); ++i) {
        auto const& option = words[i];
        if (option == "--list") {
            arguments.list = true;
            continue;
        }
        if (i + 1 == words.size()) {
            throw std::invalid_argument(option + ": unknown, or its value is missing");
        }
        auto const& value = words[++i];
        auto const number = [&] { return std::stoull(value); };
        if (option == "--scenario") {
            arguments.scenario = value;
        } else if (option == "--replay") {
            arguments.seed = value;
        } else if (option == "--seed") {
            arguments.limits.seed = number();
        } else if (option == "--preemptions") {
            arguments.limits.preemptions = static_cast<unsigned>(number());
        } else if (option == "--preemptions-of-more") {
            arguments.limits.preemptionsOfMore = static_cast<unsigned>(number());
        } else if (option == "--most-schedules") {
            arguments.limits.mostSchedules = number();
        } else if (option == "--random-schedules") {
            arguments.limits.randomSchedules = number();
        } else {
            throw std::invalid_argument(option + " is unknown");
        }
    }
    return arguments;
}

std::vector<Scenario> allScenarios() {
    std::vector<Scenario> all;
    for (auto const& some : {interleaving::configTrackerScenarios(), interleaving::listenerScenarios(),
                             interleaving::updateTrackerScenarios(), interleaving::handleScenarios(),
                             interleaving::startUpScenarios()}) {
        all.insert(all.end(), some.begin(), some.end());
    }
    return all;
}

// Figures that child processes leave behind.
Figures* makeSharedFigures(std::size_t count) {
    auto* const memory =
        ::mmap(nullptr, count * sizeof(Figures), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::bad_alloc();
    }
    return static_cast<Figures*>(memory);
}

void exploreAndPrint(Scenario const& scenario, Limits const& limits, Figures& figures) {
    figures = explore(scenario, limits);
    std::printf("%s: %llu schedules, %s with %u preemptions; %llu random\n", scenario.name.c_str(),
                static_cast<unsigned long long>(figures.schedules), figures.complete ? "all" : "not all",
                figures.preemptions, static_cast<unsigned long long>(figures.randomSchedules));
}

// Runs every scenario in a child process, two at a time. Returns how many found something.
int exploreAll(std::vector<Scenario> const& scenarios, Limits const& limits, Figures* figures) {
    constexpr auto mostChildren = 2;
    auto children = 0;
    auto found = 0;
    auto const reap = [&] {
        auto status = 0;
        ::wait(&status);
        --children;
        found += status == 0 ? 0 : 1;
    };
    for (std::size_t i = 0; i < scenarios.size(); ++i) {
        if (children == mostChildren) {
            reap();
        }
        ++children;
        std::fflush(stdout);
        if (::fork() == 0) {
            exploreAndPrint(scenarios[i], limits, figures[i]);
            std::fflush(stdout);
            ::_exit(0);
        }
    }
    while (children > 0) {
        reap();
    }
    return found;
}

void printSums(std::vector<Scenario> const& scenarios, Limits const& limits, Figures const* figures,
               int found) {
    unsigned long long schedules = 0;
    unsigned long long random = 0;
    unsigned ofTwo = 0;
    unsigned completeOfTwo = 0;
    for (std::size_t i = 0; i < scenarios.size(); ++i) {
        schedules += figures[i].schedules;
        random += figures[i].randomSchedules;
        if (scenarios[i].threads <= 2) {
            ++ofTwo;
            completeOfTwo += figures[i].complete ? 1 : 0;
        }
    }
    std::printf("%zu scenarios, %llu schedules (all with %u preemptions for %u of %u with two threads), "
                "%llu random ones from seed %llu, %d found something\n",
                scenarios.size(), schedules, limits.preemptions, completeOfTwo, ofTwo, random,
                static_cast<unsigned long long>(limits.seed), found);
}

int run(Arguments const& arguments) {
    auto scenarios = allScenarios();
    if (!arguments.scenario.empty()) {
        auto const other = [&](Scenario const& each) { return each.name != arguments.scenario; };
        scenarios.erase(std::remove_if(scenarios.begin(), scenarios.end(), other), scenarios.end());
    }
    if (scenarios.empty()) {
        throw std::invalid_argument("there is no scenario " + arguments.scenario);
    }
    if (arguments.list) {
        for (auto const& scenario : scenarios) {
            std::puts(scenario.name.c_str());
        }
        return 0;
    }
    agent::spf::frameworksetup::getLogger(); // not first inside a scheduled program: its initialisation locks
    if (!arguments.seed.empty()) {
        replay(scenarios.front(), arguments.seed);
        return 0;
    }
    auto* const figures = makeSharedFigures(scenarios.size());
    auto const found = exploreAll(scenarios, arguments.limits, figures);
    printSums(scenarios, arguments.limits, figures, found);
    return found == 0 ? 0 : 1;
}

} // namespace

int main(int argumentCount, char** arguments) {
    try {
        return run(parse({arguments + 1, arguments + argumentCount}));
    } catch (std::exception const& error) {
        std::fprintf(stderr, "spf-interleavings: %s\n", error.what());
        return 2;
    }
}
