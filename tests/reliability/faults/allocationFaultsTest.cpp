// Every allocation of every scenario fails: the library's, and those that the framework and the host make for
// it.
#include <new>

#include "faults/FaultSweep.hpp"
#include "support/AllocationFailure.hpp"

namespace agent::spf::frameworksetup::test {
namespace {

bool isBadAlloc(std::exception_ptr const& exception) {
    try {
        std::rethrow_exception(exception);
    } catch (std::bad_alloc const&) {
        return true;
    } catch (...) {
        return false;
    }
}

class ArmedAllocationFailure : public ArmedFault {
public:
    ArmedAllocationFailure(std::size_t n, AllocationFailure::Duration duration)
        : failure(n, duration) {}
    bool happened() const override { return failure.happened(); }

private:
    AllocationFailure failure;
};

Fault allocationFault(std::string name, AllocationFailure::Duration duration) {
    return {std::move(name),
            [duration](std::size_t n) { return std::make_unique<ArmedAllocationFailure>(n, duration); },
            isBadAlloc};
}

class EveryAllocation : public ::testing::TestWithParam<NamedScenario> {};

TEST_P(EveryAllocation, MayFailOnce) {
    EXPECT_GT(sweep(GetParam(), allocationFault("allocation, once", AllocationFailure::Duration::Once)), 0U);
}

TEST_P(EveryAllocation, MayFailWithAllThatFollow) {
    EXPECT_GT(sweep(GetParam(), allocationFault("allocation, lasting", AllocationFailure::Duration::Lasting)),
              0U);
}

INSTANTIATE_TEST_SUITE_P(Of, EveryAllocation, ::testing::ValuesIn(allScenarios()),
                         [](auto const& scenario) { return scenario.param.name; });

} // namespace
} // namespace agent::spf::frameworksetup::test
