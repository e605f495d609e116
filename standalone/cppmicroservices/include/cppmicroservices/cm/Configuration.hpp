// One configuration: the property map stored under a PID.
#ifndef CPPMICROSERVICES_CM_CONFIGURATION_HPP
#define CPPMICROSERVICES_CM_CONFIGURATION_HPP

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/ThreadpoolSafeFuture.h>

#include <future>
#include <memory>
#include <string>
#include <utility>

namespace cppmicroservices::service::cm {

// A handle to a configuration, obtained from ConfigurationAdmin. Thread-safe.
//
// Once the configuration is removed, every member except GetInstanceCount() throws std::runtime_error
// ("This Configuration has been Removed"); a configuration that is later created under the same PID is
// another object.
//
// Changes reach ManagedService, ManagedServiceFactory and ConfigurationListener services asynchronously. The
// results of all changes of one PID are delivered one after the other, in the order of the calls; PIDs do not
// wait for each other. A returned future becomes ready when the change has been delivered. It carries no
// exception of a service that was called, and destroying it never waits. A service that is told of a change
// must not wait on a std::shared_future for another change of the same PID, which is delivered after it has
// returned; the Safe... forms are for that.
class Configuration {
public:
    virtual ~Configuration() noexcept = default;

    virtual std::string GetPid() const = 0;

    // The part of the PID before the first '~', or empty when the PID has none.
    virtual std::string GetFactoryPid() const = 0;

    // A copy of the current properties; empty until the first update.
    virtual AnyMap GetProperties() const = 0;

    // The number of updates so far; it has grown before anybody is told of an update.
    virtual unsigned long GetChangeCount() const = 0;

    // Replaces the properties, also by an empty map or by equal ones, and tells the services of this PID.
    virtual std::shared_ptr<ThreadpoolSafeFuture>
    SafeUpdate(AnyMap properties = AnyMap{AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS}) = 0;
    virtual std::shared_future<void> Update(AnyMap properties = AnyMap{
                                                AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS}) = 0;

    // Like Update() if the properties differ from the current ones; the result's first member says whether
    // they did. Maps of different map types differ. If nothing changed, the future is ready.
    virtual std::pair<bool, std::shared_ptr<ThreadpoolSafeFuture>>
    SafeUpdateIfDifferent(AnyMap properties = AnyMap{AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS}) = 0;
    virtual std::pair<bool, std::shared_future<void>>
    UpdateIfDifferent(AnyMap properties = AnyMap{AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS}) = 0;

    // Deletes the configuration: a ManagedService gets an empty map, a ManagedServiceFactory gets Removed().
    // Nobody is told of the removal of a configuration that was never updated.
    virtual std::shared_ptr<ThreadpoolSafeFuture> SafeRemove() = 0;
    virtual std::shared_future<void> Remove() = 0;

    // Which configuration of this PID this is: 1 for the first one created, 2 for the one after its removal,
    // ...
    virtual unsigned long GetInstanceCount() = 0;
};

} // namespace cppmicroservices::service::cm

#endif
