// The two ways in which schedules are explored.
#include "choosers.hpp"

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace interleaving {

namespace {

// More decisions than any run takes; nothing is allocated while a program runs.
constexpr std::size_t manyDecisions = 1 << 17;

[[noreturn]] void throwNoSeed(std::string const& seed) {
    throw std::invalid_argument("'" + seed + "' is no seed");
}

unsigned boundOf(std::string const& seed) {
    unsigned bound = 0;
    char letter = 0;
    std::istringstream stream(seed);
    if (!(stream >> letter >> bound) || letter != 'b') {
        throwNoSeed(seed);
    }
    return bound;
}

} // namespace

BoundedChooser::BoundedChooser(unsigned mostPreemptions)
    : mostPreemptions_(mostPreemptions) {
    choices_.reserve(manyDecisions);
    affordable_.reserve(64);
}

BoundedChooser::BoundedChooser(std::string const& seed)
    : BoundedChooser(boundOf(seed)) {
    auto const colon = seed.find(':');
    std::istringstream stream(colon == std::string::npos ? std::string() : seed.substr(colon + 1));
    for (std::string item; std::getline(stream, item, ',');) {
        std::size_t position = 0;
        std::size_t choice = 0;
        char dot = 0;
        std::istringstream pair(item);
        if (!(pair >> position >> dot >> choice)) {
            throwNoSeed(seed);
        }
        prescribed_.emplace_back(position, choice);
    }
}

std::size_t BoundedChooser::choose(std::vector<Option> const& options) {
    affordable_.clear();
    for (std::size_t index = 0; index < options.size(); ++index) {
        if (!options[index].preempts || preemptions_ < mostPreemptions_) {
            affordable_.push_back(index);
        }
    }
    if (affordable_.size() == 1) {
        return affordable_.front();
    }
    if (position_ == choices_.size()) {
        auto const prescribed = std::find_if(prescribed_.begin(), prescribed_.end(),
                                             [this](auto const& each) { return each.first == position_; });
        auto const taken = prescribed == prescribed_.end() ? 0 : prescribed->second;
        choices_.push_back({taken, affordable_.size()});
    }
    auto const& choice = choices_[position_++];
    if (choice.count != affordable_.size() || choice.taken >= affordable_.size()) {
        Scheduler::instance().fail("the program does not repeat what it did under the same choices");
    }
    auto const index = affordable_[choice.taken];
    if (options[index].preempts) {
        ++preemptions_;
    }
    return index;
}

std::string BoundedChooser::seed() const {
    std::ostringstream text;
    text << 'b' << mostPreemptions_;
    char separator = ':';
    for (std::size_t position = 0; position < choices_.size(); ++position) {
        if (choices_[position].taken != 0) {
            text << separator << position << '.' << choices_[position].taken;
            separator = ',';
        }
    }
    return text.str();
}

void BoundedChooser::rewind() {
    position_ = 0;
    preemptions_ = 0;
}

bool BoundedChooser::advance() {
    while (!choices_.empty() && choices_.back().taken + 1 == choices_.back().count) {
        choices_.pop_back();
    }
    if (choices_.empty()) {
        return false;
    }
    ++choices_.back().taken;
    return true;
}

PriorityChooser::PriorityChooser(std::uint64_t number, std::size_t length)
    : number_(number)
    , length_(std::max<std::size_t>(length, 1)) {
    priorities_.reserve(64);
    changePoints_.reserve(depth);
    rewind();
}

PriorityChooser::PriorityChooser(std::string const& seed)
    : PriorityChooser(0, 1) {
    char letter = 0;
    char slash = 0;
    std::istringstream stream(seed);
    if (!(stream >> letter >> number_ >> slash >> length_) || letter != 'p' || length_ == 0) {
        throwNoSeed(seed);
    }
    rewind();
}

void PriorityChooser::rewind() {
    random_.seed(number_);
    position_ = 0;
    priorities_.clear();
    changePoints_.clear();
    std::uniform_int_distribution<std::size_t> anywhere(1, length_);
    for (auto change = 1U; change < depth; ++change) {
        changePoints_.push_back(anywhere(random_));
    }
}

std::uint64_t PriorityChooser::priority(std::size_t thread) {
    while (priorities_.size() <= thread) {
        priorities_.push_back(depth + (random_() >> 8)); // above those of the change points
    }
    return priorities_[thread];
}

std::size_t PriorityChooser::highest(std::vector<Option> const& options) {
    std::size_t best = 0;
    for (std::size_t index = 1; index < options.size(); ++index) {
        if (options[index].kind == Option::Kind::Run &&
            priority(options[index].thread) > priority(options[best].thread)) {
            best = index;
        }
    }
    return best;
}

std::size_t PriorityChooser::choose(std::vector<Option> const& options) {
    ++position_;
    constexpr auto disturbances = 32; // one decision in so many disturbs a waiting thread, if there is one
    if (options.back().kind != Option::Kind::Run && random_() % disturbances == 0) {
        return options.size() - 1;
    }
    for (std::size_t change = 0; change < changePoints_.size(); ++change) {
        if (changePoints_[change] == position_) {
            auto const falling = options[highest(options)].thread;
            priorities_[falling] = change;
        }
    }
    return highest(options);
}

std::string PriorityChooser::seed() const {
    return "p" + std::to_string(number_) + "/" + std::to_string(length_);
}

std::unique_ptr<SeededChooser> fromSeed(std::string const& seed) {
    switch (seed.empty() ? '\0' : seed.front()) {
    case 'b':
        return std::make_unique<BoundedChooser>(seed);
    case 'p':
        return std::make_unique<PriorityChooser>(seed);
    default:
        throwNoSeed(seed);
    }
}

} // namespace interleaving
