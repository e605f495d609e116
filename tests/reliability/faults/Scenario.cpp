// What the scenarios share.
#include "faults/Scenario.hpp"

#include <chrono>

#include <cppmicroservices/BundleContext.h>

#include "faults/CallFault.hpp"
#include "tracking/frameworkEvents.hpp"

namespace agent::spf::frameworksetup::test {

using frameworklistener::FrameworkListener;

Scenario::Scenario() {
    refusedUnregistrations = 0;
}

void Scenario::expectListeners(std::size_t count) {
    EXPECT_GE(registeredListeners(), count);
    EXPECT_LE(registeredListeners(), count + refusedUnregistrations);
}

SPFConfigurationBuilder Scenario::content(std::string id) {
    boost::property_tree::ptree properties;
    properties.put("a property.with a nested one", "and a value that no string holds in place");
    SPFConfigurationBuilder builder(std::move(id));
    builder
        .addServicePublisher("p", "rpcservicepublisher", {"connect-1", "connect-2"}, {"bind-1"}, "(a=*)",
                             "(b=*)")
        .addServicePublisher("q", "legacyservicepublisher", {}, {}, {}, {})
        .addServiceInterfaceToAllServicePublishers("to all", "org.example.ToAll", properties)
        .addServiceInterfaceToServicePublisher("p", "to p", "org.example.ToP", {})
        .addServiceInterface("to nobody", "org.example.ToNobody", properties);
    return builder;
}

void Scenario::deliver(std::shared_ptr<frameworklistener::Event> const& event) {
    auto context = framework().GetBundleContext();
    for (auto const& reference : context.GetServiceReferences<FrameworkListener>()) {
        context.GetService(reference)->handleEvent(event);
    }
}

std::size_t Scenario::removals(std::string const& id) {
    return callLog().count("Remove qo.spf.framework~" + id);
}

void Scenario::checkThatTheNextBuildWorks() {
    constexpr std::chrono::milliseconds atOnce{0};
    auto const before = registeredListeners();
    auto const updates = admin->updates().size();
    auto next = SPFConfigurationBuilder("next")
                    .addServicePublisher("np", "rpcservicepublisher", {}, {"b"}, {}, {})
                    .build();
    EXPECT_EQ(admin->updates().size(), updates + 1);
    EXPECT_EQ(admin->updates().back().pid, "qo.spf.framework~next");
    EXPECT_EQ(registeredListeners(), before + 1);
    deliver(bound("b", "np"));
    deliver(allServicesPublished("np"));
    EXPECT_TRUE(next.waitForAllEndpoints(atOnce, "np"));
    EXPECT_TRUE(next.waitForAllServices(atOnce, "np"));
    EXPECT_EQ(registeredListeners(), before);
    next.reset();
    EXPECT_EQ(removals("next"), 1U);
}

std::ostream& operator<<(std::ostream& stream, NamedScenario const& scenario) {
    return stream << scenario.name;
}

std::vector<NamedScenario> allScenarios() {
    std::vector<NamedScenario> all;
    for (auto const& scenarios : {modelScenarios(), publicationScenarios(), trackingScenarios()}) {
        all.insert(all.end(), scenarios.begin(), scenarios.end());
    }
    return all;
}

} // namespace agent::spf::frameworksetup::test
