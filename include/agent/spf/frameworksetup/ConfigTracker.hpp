// Follows one service publisher of a published configuration to completion.
#ifndef AGENT_SPF_FRAMEWORKSETUP_CONFIG_TRACKER_HPP
#define AGENT_SPF_FRAMEWORKSETUP_CONFIG_TRACKER_HPP

#include <chrono>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include <cppmicroservices/Any.h>

#include "agent/spf/frameworksetup/export.hpp"

namespace agent::spf::frameworksetup {

class OutstandingEndpoints;
class SelfReference;

// The progress of one service publisher: which endpoints are still to be bound and connected, whether its
// services are published, whether its configuration is removed again, and the first error that the framework
// reported for it.
//
// Progress only moves forward: endpoints only leave the lists, a state that is set stays set, the first error
// wins. A tracker is finished when an error is stored or when no endpoint is outstanding and all services are
// published; from then on endpoint reports change nothing and errors are ignored.
//
// Reports throw nothing: an endpoint that cannot be compared or printed, and a logger that fails, change
// nothing of what is recorded.
//
// Thread safe, but for the four predicates, which read without locking. A report may wake a waiter before the
// report itself has returned, so whoever destroys a tracker must know that no report and no wait is under
// way. Neither copied nor moved: there is no empty state.
class AGENT_SPF_FRAMEWORKSETUP_EXPORT ConfigTracker {
public:
    // Takes over the endpoints that are outstanding; `forRpcPublisher` tells whether the publisher is an rpc
    // one.
    ConfigTracker(std::vector<cppmicroservices::Any> bindEndpoints,
                  std::vector<cppmicroservices::Any> connectEndpoints, bool forRpcPublisher);
    ConfigTracker(ConfigTracker const&) = delete;
    ConfigTracker& operator=(ConfigTracker const&) = delete;
    ~ConfigTracker();

    // The state as it stands. Not synchronised: for a thread that knows that no report is under way.
    bool areAllEndpointsFinished() const;
    bool areAllServicesFinished() const;
    bool areAllServicesUnpublished() const;
    bool isFinished() const;

    // Stores the error and wakes every waiter, unless an error is stored already or the tracker is finished.
    // Returns true.
    bool configurationErrored(std::exception_ptr reported);

    // Removes every occurrence of the endpoint from the list to bind (to connect). Returns whether the
    // tracker is finished now; false also for an endpoint that is not outstanding. An empty `Any` equals no
    // endpoint.
    bool completeEndpointBind(cppmicroservices::Any const& endpoint);
    bool completeEndpointConnect(cppmicroservices::Any const& endpoint);

    // Records that all services are published. Returns whether the tracker is finished now.
    bool completeAllServicesPublished();

    // Records that the configuration is removed, whatever the rest of the state. Returns true.
    bool completeConfigurationRemoved();

    // Block until all endpoints are bound and connected, all services are published, or the configuration is
    // removed, each regardless of the other two. The time-out runs on the steady clock from the moment of the
    // call; zero or less checks once, one beyond the clock's range waits without limit. Return whether the
    // state was reached. Throw the stored error, the same exception object each time, even when the state was
    // reached.
    bool waitForAllEndpoints(std::chrono::milliseconds const& timeout);
    bool waitForAllServices(std::chrono::milliseconds const& timeout);
    bool waitForAllServicesToBeUnpublished(std::chrono::milliseconds const& timeout);

    // Copies of what is outstanding: first the endpoints still to connect, second those still to bind.
    std::pair<std::vector<cppmicroservices::Any>, std::vector<cppmicroservices::Any>>
    listOutstandingEndpoints();

private:
    friend class FrameworkSetupListener; // keeps itself, and so its trackers, alive from inside a report

    struct Endpoints;
    using Predicate = bool (ConfigTracker::*)() const;

    // As the public operations. The reference to the owner is taken, with the mutex locked, when all
    // endpoints are finished: whoever learns that may drop the tracker before the report is over.
    AGENT_SPF_FRAMEWORKSETUP_LOCAL bool completeEndpointBind(cppmicroservices::Any const& endpoint,
                                                             SelfReference& owner);
    AGENT_SPF_FRAMEWORKSETUP_LOCAL bool completeEndpointConnect(cppmicroservices::Any const& endpoint,
                                                                SelfReference& owner);
    AGENT_SPF_FRAMEWORKSETUP_LOCAL bool completeEndpoint(OutstandingEndpoints& outstanding,
                                                         cppmicroservices::Any const& endpoint,
                                                         char const* message, SelfReference& owner);
    AGENT_SPF_FRAMEWORKSETUP_LOCAL bool waitUntil(Predicate reached,
                                                  std::chrono::milliseconds const& timeout);

    // What every report reads stands together: there are as many trackers as publishers, and a report finds
    // its own in none of the processor's caches.
    std::mutex mutex;                     // guards every member below
    std::unique_ptr<Endpoints> endpoints; // those that are outstanding; never null
    [[maybe_unused]] bool
        rpcPublisher; // tells the kind of publisher to whoever looks at a tracker in a debugger
    bool allServicesPublished = false;
    bool configurationRemoved = false;
    std::exception_ptr error;
    std::condition_variable condition;
};

} // namespace agent::spf::frameworksetup

#endif
