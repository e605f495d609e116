// The fixture of the handle's tests: configurations on a recording ConfigurationAdmin, and the framework's
// events for them.
#ifndef TESTS_UNIT_MODEL_CONFIGURATION_TEST_HPP
#define TESTS_UNIT_MODEL_CONFIGURATION_TEST_HPP

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <cppmicroservices/BundleContext.h>

#include "agent/spf/frameworklistener/FrameworkListener.hpp"
#include "agent/spf/frameworksetup/SPFConfiguration.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"
#include "model/builderContent.hpp"
#include "support/HostTest.hpp"
#include "support/describe.hpp"

namespace agent::spf::frameworksetup::test {

inline constexpr std::chrono::milliseconds atOnce{0};
inline constexpr auto longTime = std::chrono::milliseconds::max();

template <typename Record>
std::vector<std::string> idsOf(std::vector<Record> const& records) {
    std::vector<std::string> ids;
    for (auto const& record : records) {
        ids.push_back(record.uniqueID);
    }
    return ids;
}

class SPFConfigurationTest : public HostTest {
protected:
    static constexpr char const* get = "GetFactoryConfiguration qo.spf.framework id";
    static constexpr char const* update = "Update qo.spf.framework~id";
    static constexpr char const* remove = "Remove qo.spf.framework~id";
    static constexpr char const* outOfRange = "unordered_map::at: key not found";

    SPFConfigurationTest()
        : admin(provideConfigurationAdmin()) {}

    // A configuration with one rpc publisher "p", which connects to "c" and binds "b".
    static SPFConfiguration publish(std::string id = "id") {
        return SPFConfigurationBuilder(std::move(id))
            .addServicePublisher("p", "rpcservicepublisher", {"c"}, {"b"}, {}, {})
            .build();
    }

    // As publish(), and forgets what that recorded.
    SPFConfiguration published(std::string id = "id") {
        auto configuration = publish(std::move(id));
        forgetCalls();
        return configuration;
    }

    void forgetCalls() {
        admin->forgetCalls();
        callLog().forgetCalls();
    }

    // Delivers an event to every registered listener, as the framework does.
    void deliver(std::shared_ptr<frameworklistener::Event> const& event) {
        auto context = framework().GetBundleContext();
        for (auto const& reference : context.GetServiceReferences<frameworklistener::FrameworkListener>()) {
            context.GetService(reference)->handleEvent(event);
        }
    }

    void deliverRemoved(std::uint32_t modificationCount = 1) {
        deliver(std::make_shared<frameworklistener::FrameworkEvent>(
            frameworklistener::FrameworkEvent::Kind::ConfigurationRemoved, "p", modificationCount));
    }

    std::shared_ptr<RecordingConfigurationAdmin> admin;
};

} // namespace agent::spf::frameworksetup::test

#endif
