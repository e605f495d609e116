// The listener service through which the framework's events reach the trackers of one configuration.
#ifndef AGENT_SPF_FRAMEWORKSETUP_FRAMEWORK_SETUP_LISTENER_HPP
#define AGENT_SPF_FRAMEWORKSETUP_FRAMEWORK_SETUP_LISTENER_HPP

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>

#include "agent/spf/frameworklistener/FrameworkListener.hpp"
#include "agent/spf/frameworksetup/ConfigTracker.hpp"
#include "agent/spf/frameworksetup/export.hpp"

namespace agent::spf::frameworksetup {

// Holds one ConfigTracker per service publisher of one version of a configuration and moves it on as events
// arrive. Once every publisher has been reported complete, the callback runs, and again on each later
// completion report.
//
// Events of an older version of the configuration (a lower modification count), for unknown publishers and of
// unknown types and kinds are ignored; so is a null event.
//
// Thread safe. An event may wake a client that drops the listener, or run a callback that does: a listener
// that a shared pointer owns stays alive until the event is handled. Neither copied nor moved: there is no
// empty state.
class AGENT_SPF_FRAMEWORKSETUP_EXPORT FrameworkSetupListener
    : public frameworklistener::FrameworkListener,
      public std::enable_shared_from_this<FrameworkSetupListener> {
public:
    // Reads the publishers and the modification count from a configuration's property map. Of several
    // publishers with one unique ID the first counts. The callback runs on event threads with no lock held.
    // Throws std::out_of_range for a missing key and cppmicroservices::BadAnyCastException for a value of
    // another type.
    FrameworkSetupListener(std::function<void()> completionCallback,
                           cppmicroservices::AnyMap const& configuration);
    FrameworkSetupListener(FrameworkSetupListener const&) = delete;
    FrameworkSetupListener& operator=(FrameworkSetupListener const&) = delete;

    // Called by the framework, on any thread. Throws what the callback throws; with an empty callback
    // std::bad_function_call; without memory std::bad_alloc.
    void handleEvent(std::shared_ptr<frameworklistener::Event> event) override;
    ~FrameworkSetupListener() override;

    // The handlers to which handleEvent() dispatches.
    void handleFrameworkEvent(frameworklistener::FrameworkEvent const& event);
    void handleRouterEvent(frameworklistener::RouterEvent const& event);
    void handleFrameworkErrorEvent(frameworklistener::FrameworkErrorEvent const& event);

    // Records that the publisher is complete and runs the callback when as many are as the configuration
    // holds, unless unregistering is disabled. The name is not looked up.
    void completeConfig(std::string const& name);

    // From now on completion no longer runs the callback.
    void disableUnregistering();

    // The waits and the list of outstanding endpoints of the publisher with the unique ID `name`: see
    // ConfigTracker. Throw std::out_of_range, "unordered_map::at: key not found", for an ID that the
    // configuration does not hold.
    bool waitForAllEndpoints(std::chrono::milliseconds const& timeout, std::string const& name);
    bool waitForAllServices(std::chrono::milliseconds const& timeout, std::string const& name);
    bool waitForAllServicesToBeUnpublished(std::chrono::milliseconds const& timeout, std::string const& name);
    std::pair<std::vector<cppmicroservices::Any>, std::vector<cppmicroservices::Any>>
    listOutstandingEndpoints(std::string const& name);

private:
    // The tracker that an event is for, or null when the event is stale or its publisher unknown.
    AGENT_SPF_FRAMEWORKSETUP_LOCAL ConfigTracker* match(std::string const& name,
                                                        std::uint32_t eventModificationCount);
    AGENT_SPF_FRAMEWORKSETUP_LOCAL ConfigTracker& trackerOf(std::string const& name);

    std::function<void()> callback;
    std::uint32_t modificationCount;
    std::unordered_map<std::string, ConfigTracker>
        trackers;     // constant after construction; each tracker locks itself
    std::mutex mutex; // guards the two members below
    std::unordered_set<std::string> completedConfigurations;
    bool unregisteringDisabled = false;
};

} // namespace agent::spf::frameworksetup

#endif
