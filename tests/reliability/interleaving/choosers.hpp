// The two ways in which schedules are explored.
#ifndef TESTS_RELIABILITY_INTERLEAVING_CHOOSERS_HPP
#define TESTS_RELIABILITY_INTERLEAVING_CHOOSERS_HPP

#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "Scheduler.hpp"

namespace interleaving {

// A chooser whose choices a seed repeats.
class SeededChooser : public Chooser {
public:
    // What fromSeed() takes; known at any time during a run.
    virtual std::string seed() const = 0;
    // Before each run: begins again, with the same choices.
    virtual void rewind() = 0;
};

// Every schedule with at most so many preemptions. Spurious wake-ups and early expiries count as preemptions;
// who goes on when the running thread blocks is free.
class BoundedChooser : public SeededChooser {
public:
    explicit BoundedChooser(unsigned mostPreemptions);
    // A seed: the bound and the choices that were not the first option, "b2:17.1,40.2".
    explicit BoundedChooser(std::string const& seed);

    std::size_t choose(std::vector<Option> const& options) override;
    std::string seed() const override;
    void rewind() override;

    // To the next schedule; false when there is none left.
    bool advance();
    // How many decisions the last run took.
    std::size_t length() const { return position_; }

private:
    struct Choice {
        std::size_t taken;
        std::size_t count;
    };
    unsigned const mostPreemptions_;
    std::vector<Choice> choices_;
    std::vector<std::pair<std::size_t, std::size_t>> prescribed_; // of a seed: position and choice
    std::vector<std::size_t> affordable_;
    std::size_t position_ = 0;
    unsigned preemptions_ = 0;
};

// Probabilistic concurrency testing: threads have random priorities, the highest goes on, and at depth - 1
// random points of the run the running thread falls behind all others. A bug of depth d in a run of k
// decisions of n threads is found with a probability of at least 1 / (n * k^(d-1)).
class PriorityChooser : public SeededChooser {
public:
    static constexpr unsigned depth = 3;

    // `length`: about how many decisions a run takes.
    PriorityChooser(std::uint64_t number, std::size_t length);
    // A seed: "p<number>/<length>".
    explicit PriorityChooser(std::string const& seed);

    std::size_t choose(std::vector<Option> const& options) override;
    std::string seed() const override;
    void rewind() override;

private:
    std::uint64_t priority(std::size_t thread);
    std::size_t highest(std::vector<Option> const& options);

    std::uint64_t number_;
    std::size_t length_;
    std::mt19937_64 random_;
    std::vector<std::size_t> changePoints_;
    std::vector<std::uint64_t> priorities_; // by thread
    std::size_t position_ = 0;
};

// The chooser that a seed stands for. Throws std::invalid_argument for a text that is none.
std::unique_ptr<SeededChooser> fromSeed(std::string const& seed);

} // namespace interleaving

#endif
