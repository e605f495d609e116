// The fixture of the update tracker's tests: a host with a running framework whose FrameworkListener services
// are recorded.
#ifndef TESTS_UNIT_TRACKING_UPDATE_TRACKER_TEST_HPP
#define TESTS_UNIT_TRACKING_UPDATE_TRACKER_TEST_HPP

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <cppmicroservices/BundleContext.h>

#include "agent/spf/frameworklistener/FrameworkListener.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationUpdateTracker.hpp"
#include "support/ConcurrentCall.hpp"
#include "support/HostTest.hpp"
#include "tracking/configurationMap.hpp"
#include "tracking/frameworkEvents.hpp"

namespace agent::spf::frameworksetup::test {

inline constexpr char const* registered = "FrameworkListener registered";
inline constexpr char const* unregistering = "FrameworkListener unregistering";

inline constexpr std::chrono::milliseconds now = std::chrono::milliseconds::zero(); // checks once
inline constexpr std::chrono::milliseconds longTime = std::chrono::minutes(1); // a guard, never waited for

class UpdateTrackerTest : public HostTest {
protected:
    using Listener = std::shared_ptr<frameworklistener::FrameworkListener>;
    using Tracker = std::shared_ptr<SPFConfigurationUpdateTracker>;

    UpdateTrackerTest() { recordListenerRegistrations(); }

    // A configuration with one publisher, "p", that has no endpoints.
    static cppmicroservices::AnyMap configuration(int modificationCount = 1) {
        return configurationMap(modificationCount, {publisherEntry("p")});
    }

    // The one registered listener, as the framework gets it; null when none is registered.
    Listener registeredListener() {
        auto context = framework().GetBundleContext();
        auto const reference = context.GetServiceReference<frameworklistener::FrameworkListener>();
        return reference ? context.GetService(reference) : nullptr;
    }

    // Reports every service of "p" as published, and so all publishers as complete.
    static void complete(Listener const& listener) { listener->handleEvent(allServicesPublished("p")); }

    // What happened to FrameworkListener services so far, in order.
    static std::vector<std::string> registrations() { return callLog().callsOf("FrameworkListener "); }
};

} // namespace agent::spf::frameworksetup::test

#endif
