// What the library is put through while faults are put in: one use of it, and the state that a failure must
// leave.
#ifndef TESTS_RELIABILITY_FAULTS_SCENARIO_HPP
#define TESTS_RELIABILITY_FAULTS_SCENARIO_HPP

#include <exception>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "agent/spf/frameworklistener/FrameworkListener.hpp"
#include "agent/spf/frameworksetup/SPFConfiguration.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"
#include "support/HostTest.hpp"

namespace agent::spf::frameworksetup::test {

// One object is one run, with a host and a framework of its own. It is made and destroyed without faults.
class Scenario : protected HostTest {
public:
    ~Scenario() override = default;

    // Runs while the fault is armed. What leaves it is what a client sees of the fault.
    virtual void act() = 0;

    // Runs when the fault is over; `failure` is what left act(), or null. Reports what is not as documented.
    virtual void check(std::exception_ptr const& failure) = 0;

    // Publishes another configuration, follows it to completion and withdraws it.
    void checkThatTheNextBuildWorks();

protected:
    Scenario();

    // A publisher "p" with endpoints, a publisher "q" without, and interfaces that are mapped in every way.
    static SPFConfigurationBuilder content(std::string id);
    static SPFConfiguration published(std::string id) { return content(std::move(id)).build(); }

    // Delivers the event to every registered listener.
    void deliver(std::shared_ptr<frameworklistener::Event> const& event);
    // Expects so many registered listeners, and at most as many more as the framework refused to unregister.
    void expectListeners(std::size_t count);
    // How often ConfigurationAdmin was asked to remove the configuration.
    static std::size_t removals(std::string const& id);

    std::shared_ptr<RecordingConfigurationAdmin> const admin = provideConfigurationAdmin();

private:
    void TestBody() override {}
};

struct NamedScenario {
    std::string name;
    std::function<std::unique_ptr<Scenario>()> make;
    // Whether an exception may come out as another: the framework wraps what a bundle's start throws.
    bool wrapsExceptions = false;
    // Whether it calls the host, ConfigurationAdmin or the framework at all.
    bool callsOut = true;
};

std::ostream& operator<<(std::ostream& stream, NamedScenario const& scenario);

std::vector<NamedScenario> modelScenarios();
std::vector<NamedScenario> publicationScenarios();
std::vector<NamedScenario> trackingScenarios();
std::vector<NamedScenario> allScenarios();

template <typename S>
NamedScenario scenario(std::string name) {
    return {std::move(name), [] { return std::make_unique<S>(); }};
}

// A scenario that calls nobody.
template <typename S>
NamedScenario quietScenario(std::string name) {
    auto result = scenario<S>(std::move(name));
    result.callsOut = false;
    return result;
}

} // namespace agent::spf::frameworksetup::test

#endif
