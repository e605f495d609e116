// A registered service: its identity, its properties, its state, and who uses it.
#ifndef CPPMICROSERVICES_SRC_FRAMEWORK_SERVICERECORD_HPP
#define CPPMICROSERVICES_SRC_FRAMEWORK_SERVICERECORD_HPP

#include "ServiceUses.hpp"
#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/ServiceInterface.h"
#include "cppmicroservices/ServiceProperties.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace cppmicroservices {
class LDAPFilter;
class ServiceFactory;
} // namespace cppmicroservices

namespace cppmicroservices::detail {

class BundleRecord;
class FrameworkCore;

enum class ServiceScope { Singleton, Bundle, Prototype };

// The order of preference of services, the most preferred first.
struct ServiceRank {
    int ranking;
    long id;

    friend bool operator<(ServiceRank const& left, ServiceRank const& right) {
        return left.ranking != right.ranking ? left.ranking > right.ranking : left.id < right.id;
    }
};

// Thread safe.
class ServiceRecord : public std::enable_shared_from_this<ServiceRecord> {
public:
    using Properties = std::shared_ptr<AnyMap const>;
    struct Change {
        Properties before;
        Properties after;
        ServiceRank oldRank;
        ServiceRank newRank;
    };

    // \throws std::invalid_argument if `service` is empty or has an empty object
    // \throws std::runtime_error if two keys of `properties` differ in case only
    ServiceRecord(long id, std::shared_ptr<BundleRecord> registrant, std::weak_ptr<FrameworkCore> core,
                  InterfaceMapConstPtr service, ServiceProperties const& properties);

    long id() const noexcept { return id_; }
    std::shared_ptr<BundleRecord> const& registrant() const noexcept { return registrant_; }
    // Empty once the framework is gone.
    std::shared_ptr<FrameworkCore> core() const { return core_.lock(); }
    // \throws std::logic_error unless present, and once the framework is gone
    std::shared_ptr<FrameworkCore> requiredCore() const;
    // The service object, or the map with its factory; null after dropService().
    InterfaceMapConstPtr service() const;
    // Null unless the scope is bundle or prototype; null after dropService().
    std::shared_ptr<ServiceFactory> factory() const;
    ServiceScope scope() const noexcept { return scope_; }
    // In alphabetical order.
    std::vector<std::string> const& interfaces() const noexcept { return interfaces_; }
    // Null if the service does not have the interface.
    std::string const* findInterface(std::string const& interfaceId) const;

    Properties properties() const;
    // Matching runs under this record's lock: it calls no code but the provider's own.
    bool matches(LDAPFilter const& filter) const;
    ServiceRank rank() const noexcept { return {ranking_.load(std::memory_order_relaxed), id_}; }

    // Has `adopt` called with the change under this record's lock, so that the registry's order of services
    // follows changes in the order in which they are made. \throws std::logic_error if the service is
    // unregistered
    template <class Adopt>
    Change replaceProperties(ServiceProperties const& properties, Adopt const& adopt);

    // Whether the service can be got: from its registration until its unregistration has been announced.
    bool available() const noexcept { return state_.load(std::memory_order_acquire) <= State::Unregistering; }
    // Whether references to the service are valid: until its unregistration is over.
    bool present() const noexcept { return state_.load(std::memory_order_acquire) != State::Unregistered; }
    // \throws std::logic_error unless available
    void requireAvailable() const;

    // Whether the service's unregistration has not begun.
    bool registered() const noexcept { return state_.load(std::memory_order_acquire) == State::Registered; }

    // Has `leave` called under this record's lock, so that no change of the properties comes between, unless
    // the service's unregistration has begun already. Returns whether it was.
    template <class Leave>
    bool beginUnregistration(Leave const& leave);
    void beginRelease() noexcept { state_.store(State::Releasing, std::memory_order_release); }
    void endUnregistration() noexcept { state_.store(State::Unregistered, std::memory_order_release); }
    // Lets go of the service object, which references to an unregistered service must not keep.
    void dropService();

    ServiceUses& uses() noexcept { return uses_; }

private:
    enum class State { Registered, Unregistering, Releasing, Unregistered };

    Properties complete(ServiceProperties const& properties) const;

    long const id_;
    std::shared_ptr<BundleRecord> const registrant_;
    std::weak_ptr<FrameworkCore> const core_;
    ServiceScope const scope_;
    std::vector<std::string> const interfaces_;

    std::atomic<State> state_{State::Registered};
    std::atomic<int> ranking_{0}; // written under mutex_
    mutable std::mutex mutex_;    // guards what follows, but for uses_
    InterfaceMapConstPtr service_;
    Properties properties_;
    ServiceUses uses_;
};

int rankingOf(AnyMap const& properties);

template <class Leave>
bool ServiceRecord::beginUnregistration(Leave const& leave) {
    std::lock_guard const lock(mutex_);
    if (!registered()) {
        return false;
    }
    leave();
    state_.store(State::Unregistering, std::memory_order_release);
    return true;
}

template <class Adopt>
ServiceRecord::Change ServiceRecord::replaceProperties(ServiceProperties const& properties,
                                                       Adopt const& adopt) {
    Change change;
    change.after = complete(properties);
    std::lock_guard const lock(mutex_);
    requireAvailable();
    change.before = properties_;
    change.oldRank = rank();
    change.newRank = {rankingOf(*change.after), id_};
    adopt(change);
    properties_ = change.after;
    ranking_.store(change.newRank.ranking, std::memory_order_relaxed);
    return change;
}

} // namespace cppmicroservices::detail

#endif
