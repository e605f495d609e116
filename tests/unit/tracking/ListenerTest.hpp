// The fixture of the listener's tests: makes listeners that count their completions.
#ifndef TESTS_UNIT_TRACKING_LISTENER_TEST_HPP
#define TESTS_UNIT_TRACKING_LISTENER_TEST_HPP

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "agent/spf/frameworksetup/FrameworkSetupListener.hpp"
#include "support/CallLog.hpp"
#include "support/FakeHost.hpp"
#include "support/LogCapture.hpp"
#include "tracking/configurationMap.hpp"
#include "tracking/frameworkEvents.hpp"

namespace agent::spf::frameworksetup::test {

inline constexpr std::chrono::milliseconds now = std::chrono::milliseconds::zero(); // checks once
inline constexpr std::chrono::milliseconds longTime = std::chrono::minutes(1); // a guard, never waited for

class ListenerTest : public ::testing::Test {
protected:
    ~ListenerTest() override {
        callLog().reset();
        fakeHost().reset();
    }

    std::shared_ptr<FrameworkSetupListener>
    listenerForConfiguration(cppmicroservices::AnyMap const& configuration) {
        return std::make_shared<FrameworkSetupListener>([this] { ++completions; }, configuration);
    }

    // A listener for modification 1 of a configuration with these publishers.
    std::shared_ptr<FrameworkSetupListener>
    listenerFor(std::vector<cppmicroservices::AnyMap> const& publishers) {
        return listenerForConfiguration(configurationMap(1, publishers));
    }

    // What is outstanding for the publisher, as one text.
    static std::string outstanding(FrameworkSetupListener& listener, std::string const& publisher) {
        return describe(listener.listOutstandingEndpoints(publisher));
    }

    LogCapture log;
    std::atomic<int> completions{0}; // how often the callback ran
};

} // namespace agent::spf::frameworksetup::test

#endif
