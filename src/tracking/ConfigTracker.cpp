// The progress of one service publisher, and the waits on it.
#include "agent/spf/frameworksetup/ConfigTracker.hpp"

#include "agent/host/DiagnosticLogger.hpp"
#include "logging/log.hpp"
#include "tracking/OutstandingEndpoints.hpp"
#include "tracking/SelfReference.hpp"

namespace agent::spf::frameworksetup {

namespace {

using cppmicroservices::Any;
using Clock = std::chrono::steady_clock;

// The moment when a time-out that begins now ends, kept within the clock's range.
Clock::time_point deadlineAfter(std::chrono::milliseconds const& timeout) {
    auto const now = Clock::now();
    if (timeout <= std::chrono::milliseconds::zero()) {
        return now;
    }
    if (timeout > std::chrono::duration_cast<std::chrono::milliseconds>(Clock::time_point::max() - now)) {
        return Clock::time_point::max();
    }
    return now + timeout;
}

} // namespace

struct ConfigTracker::Endpoints {
    Endpoints(std::vector<Any> bindEndpoints, std::vector<Any> connectEndpoints)
        : toBindTo(std::move(bindEndpoints))
        , toConnectTo(std::move(connectEndpoints)) {}

    OutstandingEndpoints toBindTo;
    OutstandingEndpoints toConnectTo;
};

ConfigTracker::ConfigTracker(std::vector<Any> bindEndpoints, std::vector<Any> connectEndpoints,
                             bool forRpcPublisher)
    : endpoints(std::make_unique<Endpoints>(std::move(bindEndpoints), std::move(connectEndpoints)))
    , rpcPublisher(forRpcPublisher) {}

ConfigTracker::~ConfigTracker() = default;

bool ConfigTracker::areAllEndpointsFinished() const {
    return endpoints->toBindTo.empty() && endpoints->toConnectTo.empty();
}

bool ConfigTracker::areAllServicesFinished() const {
    return allServicesPublished;
}

bool ConfigTracker::areAllServicesUnpublished() const {
    return configurationRemoved;
}

bool ConfigTracker::isFinished() const {
    return error || (allServicesPublished && areAllEndpointsFinished());
}

bool ConfigTracker::configurationErrored(std::exception_ptr reported) {
    std::unique_lock<std::mutex> lock(mutex);
    if (isFinished()) {
        return true;
    }
    error = std::move(reported);
    lock.unlock();
    condition.notify_all();
    return true;
}

bool ConfigTracker::completeEndpointBind(Any const& endpoint) {
    SelfReference nobody;
    return completeEndpointBind(endpoint, nobody);
}

bool ConfigTracker::completeEndpointConnect(Any const& endpoint) {
    SelfReference nobody;
    return completeEndpointConnect(endpoint, nobody);
}

bool ConfigTracker::completeEndpointBind(Any const& endpoint, SelfReference& owner) {
    return completeEndpoint(endpoints->toBindTo, endpoint, "ConfigTracker completeEndpointBind ", owner);
}

bool ConfigTracker::completeEndpointConnect(Any const& endpoint, SelfReference& owner) {
    return completeEndpoint(endpoints->toConnectTo, endpoint, "ConfigTracker completeEndpointConnect ",
                            owner);
}

bool ConfigTracker::completeEndpoint(OutstandingEndpoints& outstanding, Any const& endpoint,
                                     char const* message, SelfReference& owner) {
    std::unique_lock<std::mutex> lock(mutex);
    if (isFinished()) {
        owner.take();
        return true;
    }
    if (!outstanding.remove(endpoint)) {
        return false;
    }
    log(host::Severity::Progress, [&](std::ostream& stream) { stream << message << endpoint.ToString(); });
    if (!areAllEndpointsFinished()) {
        return false;
    }
    owner.take();
    auto const finished = isFinished();
    lock.unlock();
    condition.notify_all();
    return finished;
}

bool ConfigTracker::completeAllServicesPublished() {
    std::unique_lock<std::mutex> lock(mutex);
    if (isFinished() || allServicesPublished) {
        return isFinished();
    }
    log(host::Severity::Progress,
        [](std::ostream& stream) { stream << "ConfigTracker completeAllServicesPublished"; });
    allServicesPublished = true;
    auto const finished = isFinished();
    lock.unlock();
    condition.notify_all();
    return finished;
}

bool ConfigTracker::completeConfigurationRemoved() {
    std::unique_lock<std::mutex> lock(mutex);
    if (configurationRemoved) {
        return true;
    }
    configurationRemoved = true;
    lock.unlock();
    condition.notify_all();
    return true;
}

bool ConfigTracker::waitForAllEndpoints(std::chrono::milliseconds const& timeout) {
    return waitUntil(&ConfigTracker::areAllEndpointsFinished, timeout);
}

bool ConfigTracker::waitForAllServices(std::chrono::milliseconds const& timeout) {
    return waitUntil(&ConfigTracker::areAllServicesFinished, timeout);
}

bool ConfigTracker::waitForAllServicesToBeUnpublished(std::chrono::milliseconds const& timeout) {
    return waitUntil(&ConfigTracker::areAllServicesUnpublished, timeout);
}

bool ConfigTracker::waitUntil(Predicate reached, std::chrono::milliseconds const& timeout) {
    std::unique_lock<std::mutex> lock(mutex);
    auto const deadline = deadlineAfter(timeout);
    while (!error && !(this->*reached)() && Clock::now() < deadline) {
        condition.wait_until(lock, deadline);
    }
    if (error) {
        std::rethrow_exception(error);
    }
    return (this->*reached)();
}

std::pair<std::vector<Any>, std::vector<Any>> ConfigTracker::listOutstandingEndpoints() {
    std::lock_guard<std::mutex> const lock(mutex);
    return {endpoints->toConnectTo.list(), endpoints->toBindTo.list()};
}

} // namespace agent::spf::frameworksetup
