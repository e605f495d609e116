// The registered services of one framework.
#ifndef CPPMICROSERVICES_SRC_FRAMEWORK_SERVICEREGISTRY_HPP
#define CPPMICROSERVICES_SRC_FRAMEWORK_SERVICEREGISTRY_HPP

#include "ServiceRecord.hpp"
#include "SnapshotMap.hpp"

#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace cppmicroservices::detail {

class BundleRecord;
class ContextRecord;
class ServiceListeners;

// Thread safe. Listeners are told, and factories called, with no lock held.
class ServiceRegistry {
public:
    using Records = std::vector<std::shared_ptr<ServiceRecord>>;

    explicit ServiceRegistry(ServiceListeners& listeners)
        : listeners_(listeners) {}

    // \throws std::invalid_argument, std::runtime_error as BundleContext::RegisterService
    std::shared_ptr<ServiceRecord> registerService(ContextRecord const& context, InterfaceMapConstPtr service,
                                                   ServiceProperties const& properties);
    // \throws std::logic_error, std::runtime_error as ServiceRegistrationBase
    void setProperties(ServiceRecord& record, ServiceProperties const& properties);
    void unregister(ServiceRecord& record);

    // Unregisters the bundle's services, but for those that it registers meanwhile. Takes no memory, as the
    // next.
    void unregisterAllOf(BundleRecord const& registrant);
    // Releases the objects that the bundle holds of any service, but for those that it gets meanwhile.
    void releaseAllOf(BundleRecord const& user);
    // Takes all services out of the registry without telling anybody. Their registrations stay as they are.
    void forgetAll();

    // Those with the interface (all, if it is empty) that match the filter: the most preferred first if the
    // interface or the filter names interfaces, otherwise in the order of registration.
    // \throws std::invalid_argument if `filter` is neither empty nor an expression; where no service has the
    // interface, it is not looked at
    std::shared_ptr<Records const> find(std::string const& interfaceId, std::string const& filter);
    // The most preferred one with the interface (the first registered of all, if it is empty); null if there
    // is none.
    std::shared_ptr<ServiceRecord> findBest(std::string const& interfaceId);
    // In the order of registration, as usedBy().
    Records registeredBy(BundleRecord const& registrant);
    Records usedBy(BundleRecord const& user);

private:
    using Ranked = SnapshotMap<ServiceRank, std::shared_ptr<ServiceRecord>>;

    void add(ContextRecord const& context, std::shared_ptr<ServiceRecord> const& record);
    void remove(ServiceRecord const& record);
    void insertRankedWithLock(ServiceRank const& rank, std::shared_ptr<ServiceRecord> const& record);
    // Erases what is there of the record; nothing, if forgetAll() was faster.
    void eraseRankedWithLock(ServiceRank const& rank, ServiceRecord const& record) noexcept;
    std::shared_ptr<Records const> snapshot(std::string const& interfaceId);
    // Calls `action`, with no lock held, for each service for which `isMeant`, called with the lock held, is
    // true; not for those that are registered meanwhile.
    template <class Predicate, class Action>
    void forEach(Predicate const& isMeant, Action const& action);
    // The first one registered after that with the identifier for which `isMeant`, which is called with the
    // lock held, is true; null if there is none.
    template <class Predicate>
    std::shared_ptr<ServiceRecord> findAfter(long id, Predicate const& isMeant);

    ServiceListeners& listeners_;

    std::mutex mutex_; // guards what follows; may be taken under a record's lock, never the other way round
    SnapshotMap<long, std::shared_ptr<ServiceRecord>> all_; // by identifier, which is by age
    std::unordered_map<std::string, Ranked> byInterface_;
};

} // namespace cppmicroservices::detail

#endif
