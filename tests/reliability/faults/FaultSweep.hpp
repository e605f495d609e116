// Runs a scenario over and over, with the fault one step later each time, until the fault comes too late.
#ifndef TESTS_RELIABILITY_FAULTS_FAULT_SWEEP_HPP
#define TESTS_RELIABILITY_FAULTS_FAULT_SWEEP_HPP

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "faults/Scenario.hpp"

namespace agent::spf::frameworksetup::test {

// A fault while it is armed.
class ArmedFault {
public:
    virtual ~ArmedFault() = default;
    virtual bool happened() const = 0;
};

struct Fault {
    std::string name;
    // Arms the fault at step n, counted from 1, of the calling thread. Nothing that this allocates may be
    // lost when the fault is armed.
    std::function<std::unique_ptr<ArmedFault>(std::size_t n)> arm;
    // Whether an exception is the one that the fault raises.
    std::function<bool(std::exception_ptr const&)> isOf;
};

// For n = 1, 2, ...: makes the scenario, runs it with the fault at step n, and checks the state that is left,
// that the next build works, that what came out is the fault's own exception, and that nothing is leaked.
// Ends with the first n that the scenario does not reach. Returns how many faults were put in, and prints
// that figure.
std::size_t sweep(NamedScenario const& scenario, Fault const& fault);

} // namespace agent::spf::frameworksetup::test

#endif
