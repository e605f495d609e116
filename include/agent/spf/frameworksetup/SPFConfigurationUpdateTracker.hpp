// Ties one published version of a configuration to the framework's event stream.
#ifndef AGENT_SPF_FRAMEWORKSETUP_SPF_CONFIGURATION_UPDATE_TRACKER_HPP
#define AGENT_SPF_FRAMEWORKSETUP_SPF_CONFIGURATION_UPDATE_TRACKER_HPP

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/ServiceRegistrationBase.h>

#include "agent/spf/frameworksetup/export.hpp"

namespace agent::spf::frameworksetup {

class FrameworkSetupListener;

// Makes the FrameworkSetupListener of a configuration, registers it as a FrameworkListener service,
// unregisters it once every publisher is complete, and forwards the client's waits to it. Requires of the
// host: getFramework(); without a framework nothing is registered and no event arrives.
//
// Thread safe. Registering and unregistering run other people's service listeners on the calling thread; no
// lock is held meanwhile, so they may deliver events, call the tracker and drop it. Other threads that
// enable, disable or prepare for unpublishing meanwhile, or end an unpublish wait, are kept waiting until
// they are done. Owned by a shared pointer; a call keeps what it uses alive until it returns.
class AGENT_SPF_FRAMEWORKSETUP_EXPORT SPFConfigurationUpdateTracker
    : public std::enable_shared_from_this<SPFConfigurationUpdateTracker> {
public:
    // A new tracker, enabled for the configuration.
    static std::shared_ptr<SPFConfigurationUpdateTracker>
    create(cppmicroservices::AnyMap const& configuration);

    // A tracker that listens to nothing. Before enable(), the waits, the list of outstanding endpoints and
    // registerListenerForUnpublishing() throw std::logic_error.
    SPFConfigurationUpdateTracker();
    SPFConfigurationUpdateTracker(SPFConfigurationUpdateTracker const&) = delete;
    SPFConfigurationUpdateTracker& operator=(SPFConfigurationUpdateTracker const&) = delete;

    // Unregisters the listener, if it is registered. Never throws.
    ~SPFConfigurationUpdateTracker();

    // Makes and registers a listener for the configuration. A listener that is there already is replaced, and
    // unregistered if it is still registered; its framework may be gone. Throws std::bad_weak_ptr when no
    // shared pointer owns the tracker, what the listener's construction throws, and what registering and
    // unregistering throw.
    void enable(cppmicroservices::AnyMap const& configuration);

    // Unregisters the listener, if it is registered. Throws what unregistering throws: once a
    // std::logic_error when the registration has ended already, as with its framework.
    void disable();

    // Prepares for the removal of the configuration: from now on completion no longer unregisters the
    // listener, and a listener that is not registered any more is registered again. Throws what registering
    // throws.
    void registerListenerForUnpublishing();

    // The waits and the list of outstanding endpoints of one publisher: see FrameworkSetupListener. At the
    // end of waitForAllServicesToBeUnpublished(), reached or timed out, the listener is unregistered, which
    // may throw; when the wait throws it stays as it is.
    bool waitForAllEndpoints(std::chrono::milliseconds const& timeout, std::string const& servicePublisherID);
    bool waitForAllServices(std::chrono::milliseconds const& timeout, std::string const& servicePublisherID);
    bool waitForAllServicesToBeUnpublished(std::chrono::milliseconds const& timeout,
                                           std::string const& servicePublisherID);
    std::pair<std::vector<cppmicroservices::Any>, std::vector<cppmicroservices::Any>>
    listOutstandingEndpoints(std::string const& servicePublisherID);

private:
    AGENT_SPF_FRAMEWORKSETUP_LOCAL std::shared_ptr<FrameworkSetupListener> enabledListener() const;
    AGENT_SPF_FRAMEWORKSETUP_LOCAL std::unique_lock<std::mutex> lockWhenSettled();
    AGENT_SPF_FRAMEWORKSETUP_LOCAL bool isSettledWithLock() const;
    // These three let go of the lock while foreign code runs.
    AGENT_SPF_FRAMEWORKSETUP_LOCAL void settleWithLock(std::unique_lock<std::mutex>& lock);
    AGENT_SPF_FRAMEWORKSETUP_LOCAL void registerListenerWithLock(std::unique_lock<std::mutex>& lock);
    AGENT_SPF_FRAMEWORKSETUP_LOCAL void unregisterListenerWithLock(std::unique_lock<std::mutex>& lock);
    AGENT_SPF_FRAMEWORKSETUP_LOCAL void unregisterAfterCompletion(std::uint64_t completedListener);

    std::shared_ptr<FrameworkSetupListener> listener; // read atomically without the mutex, replaced with it

    // Listeners are known by numbers, from 1 and never used again; 0 stands for none.
    std::mutex mutex;                                       // guards every member below
    cppmicroservices::ServiceRegistrationBase registration; // changed only by the settling thread
    std::uint64_t registeredListener = 0;                   // whose `registration` is, while it is valid
    std::uint64_t currentListener = 0;                      // the number of `listener`
    std::uint64_t completingListener = 0;                   // whose completion ends its registration
    bool registrationWanted = false;                        // whether `listener` is to be registered
    std::thread::id settlingThread;  // which makes `registration` what is wanted; the empty ID if none does
    std::condition_variable settled; // notified when the settling thread is done
};

} // namespace agent::spf::frameworksetup

#endif
