// Every call to the host, to ConfigurationAdmin and to the framework throws, once per type of exception.
#include <algorithm>
#include <new>
#include <stdexcept>
#include <system_error>
#include <tuple>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/ServiceException.h>
#include <cppmicroservices/SharedLibraryException.h>
#include <cppmicroservices/cm/ConfigurationException.hpp>

#include "faults/CallFault.hpp"
#include "faults/FaultSweep.hpp"

namespace agent::spf::frameworksetup::test {
namespace {

// An exception that is derived from nothing.
struct NoStandardException {};

struct Exception {
    std::string name;
    std::function<void()> raise;
    std::function<bool(std::exception_ptr const&)> isOf;
};

std::ostream& operator<<(std::ostream& stream, Exception const& exception) {
    return stream << exception.name;
}

template <typename Type, typename Make>
Exception exceptionOf(std::string name, Make make) {
    return {std::move(name), [make] { throw make(); },
            [](std::exception_ptr const& exception) {
                try {
                    std::rethrow_exception(exception);
                } catch (Type const&) {
                    return true;
                } catch (...) {
                    return false;
                }
            }};
}

std::vector<Exception> exceptions() {
    using namespace cppmicroservices;
    return {
        exceptionOf<std::runtime_error>("RuntimeError", [] { return std::runtime_error("a fault"); }),
        exceptionOf<std::bad_alloc>("BadAlloc", [] { return std::bad_alloc(); }),
        exceptionOf<NoStandardException>("NoStandardException", [] { return NoStandardException(); }),
        exceptionOf<ServiceException>("ServiceException", [] { return ServiceException("a fault"); }),
        exceptionOf<SharedLibraryException>(
            "SharedLibraryException",
            [] { return SharedLibraryException(std::make_error_code(std::errc::io_error), "a fault", {}); }),
        exceptionOf<BadAnyCastException>("BadAnyCastException",
                                         [] { return BadAnyCastException("a fault"); }),
        exceptionOf<service::cm::ConfigurationException>("ConfigurationException", [] {
            return service::cm::ConfigurationException("a fault", "a property");
        })};
}

class ArmedCallFault : public ArmedFault {
public:
    ArmedCallFault(std::size_t n, CallFault::Duration duration, std::function<void()> raise)
        : fault(n, duration, std::move(raise)) {
        callLog().whenAny(passCall);
    }
    ~ArmedCallFault() override { callLog().whenAny(nullptr); }
    bool happened() const override { return fault.happened(); }

private:
    CallFault fault;
};

Fault callFault(Exception const& exception, std::string const& often, CallFault::Duration duration) {
    return {exception.name + ", " + often,
            [=](std::size_t n) { return std::make_unique<ArmedCallFault>(n, duration, exception.raise); },
            exception.isOf};
}

class EveryCall : public ::testing::TestWithParam<std::tuple<NamedScenario, Exception>> {
protected:
    static void sweepWith(std::string const& often, CallFault::Duration duration) {
        EXPECT_GT(sweep(std::get<0>(GetParam()), callFault(std::get<1>(GetParam()), often, duration)), 0U);
    }
};

TEST_P(EveryCall, MayThrowOnce) {
    sweepWith("once", CallFault::Duration::Once);
}

TEST_P(EveryCall, MayThrowWithAllThatFollow) {
    sweepWith("lasting", CallFault::Duration::Lasting);
}

// Scenarios that call nobody are not among these.
std::vector<NamedScenario> callingScenarios() {
    auto scenarios = allScenarios();
    scenarios.erase(std::remove_if(scenarios.begin(), scenarios.end(),
                                   [](NamedScenario const& each) { return !each.callsOut; }),
                    scenarios.end());
    return scenarios;
}

INSTANTIATE_TEST_SUITE_P(Of, EveryCall,
                         ::testing::Combine(::testing::ValuesIn(callingScenarios()),
                                            ::testing::ValuesIn(exceptions())),
                         [](auto const& param) {
                             return std::get<0>(param.param).name + std::get<1>(param.param).name;
                         });

} // namespace
} // namespace agent::spf::frameworksetup::test
