// All configurations and everybody who is told of their changes.
#ifndef CPPMICROSERVICES_CONFIGADMIN_CONFIGURATIONSTORE_HPP
#define CPPMICROSERVICES_CONFIGADMIN_CONFIGURATIONSTORE_HPP

#include "AdminReference.hpp"
#include "Delivery.hpp"
#include "SerialQueues.hpp"
#include "Subscriber.hpp"

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/cm/Configuration.hpp>
#include <cppmicroservices/cm/ConfigurationListener.hpp>
#include <cppmicroservices/cm/ManagedService.hpp>
#include <cppmicroservices/cm/ManagedServiceFactory.hpp>

#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace agent::configurationadmin {

// One configuration. The constant members may be read at any time, the others are the store's.
struct Record {
    std::string const pid;
    std::string const factoryPid; // that of create(), else the PID up to the separator; empty without one
    unsigned long const instanceCount;

    std::shared_ptr<cppmicroservices::AnyMap const> properties;
    unsigned long changeCount = 0;
    bool removed = false;
    std::weak_ptr<cppmicroservices::service::cm::Configuration> handle{}; // the one object that clients have
};

// Thread-safe. Every change and every subscription is one atomic step. The step also puts what follows from
// it into the queue of the PID; so each service gets the configuration as it is when the service appears, and
// from then on every change, exactly once and in order. Nothing foreign runs inside a step.
class ConfigurationStore : public std::enable_shared_from_this<ConfigurationStore> {
public:
    using Configuration = cppmicroservices::service::cm::Configuration;
    using ConfigurationListener = cppmicroservices::service::cm::ConfigurationListener;
    using ManagedService = cppmicroservices::service::cm::ManagedService;
    using ManagedServiceFactory = cppmicroservices::service::cm::ManagedServiceFactory;

    ConfigurationStore(std::shared_ptr<SerialQueues> queues, std::shared_ptr<AdminReference> reference);

    // The existing or a new configuration of the PID.
    std::shared_ptr<Configuration> get(std::string const& pid);
    std::shared_ptr<Configuration> get(std::string const& factoryPid, std::string const& instanceName);

    // A new configuration of the factory under a PID that was never used.
    std::shared_ptr<Configuration> create(std::string const& factoryPid);

    // As ConfigurationAdmin::ListConfigurations(), in the order of the PIDs.
    std::vector<std::shared_ptr<Configuration>> list(std::string const& filter);

    // Of these, each throws std::runtime_error if the configuration has been removed.
    void requirePresence(Record const& record) const;
    std::shared_ptr<cppmicroservices::AnyMap const> properties(Record const& record) const;
    unsigned long changeCount(Record const& record) const;
    std::shared_future<void> update(Record& record, cppmicroservices::AnyMap properties);
    std::pair<bool, std::shared_future<void>> updateIfDifferent(Record& record,
                                                                cppmicroservices::AnyMap properties);
    std::shared_future<void> remove(Record& record);

    // A configuration that somebody else than a client stored, and which change of it that was.
    struct Provided {
        std::shared_ptr<Record> record;
        unsigned long changeCount;
    };

    // Stores the properties, unless the configuration was updated to the same already: then it is not the
    // caller's to withdraw.
    std::optional<Provided> provide(std::string const& pid, cppmicroservices::AnyMap const& properties);

    // Removes the configuration, unless it was changed or removed meanwhile.
    void withdraw(Provided const& provided) noexcept;

    void add(std::shared_ptr<Subscriber<ConfigurationListener>> const& subscriber);
    void add(std::shared_ptr<Subscriber<ManagedService>> const& subscriber);
    void add(std::shared_ptr<Subscriber<ManagedServiceFactory>> const& subscriber);
    void remove(std::shared_ptr<Subscriber<ConfigurationListener>> const& subscriber);
    void remove(std::shared_ptr<Subscriber<ManagedService>> const& subscriber);
    void remove(std::shared_ptr<Subscriber<ManagedServiceFactory>> const& subscriber);

    // Delivers what follows from the steps so far, and then tells every service, on the calling thread, that
    // its configurations are gone: not the listeners, as nothing is removed. Of later steps nobody is told.
    // Call without a lock.
    void stop();

private:
    using Records = std::map<std::string, std::shared_ptr<Record>>;
    template <class Service>
    using SubscribersByPid = std::unordered_map<std::string, Subscribers<Service>>;

    std::shared_ptr<Record> recordWithLock(std::string const& pid);
    std::shared_ptr<Record> newRecordWithLock(std::string const& pid, std::string const& factoryPid);
    std::shared_ptr<Configuration> handleWithLock(std::shared_ptr<Record> const& record);
    std::string unusedPidWithLock(std::string const& factoryPid);
    std::optional<std::shared_future<void>>
    storeIfDifferent(Record& record, std::shared_ptr<cppmicroservices::AnyMap const> updated);
    std::shared_future<void> storeWithLock(Record& record,
                                           std::shared_ptr<cppmicroservices::AnyMap const>& properties);
    std::shared_future<void> removeWithLock(Record& record);
    void forgetWithLock(Record& record) noexcept;
    std::shared_future<void> announceWithLock(Change change);
    Recipients recipientsWithLock(Change const& change) const;
    template <class Service>
    void postInitialWithLock(Record const& record, std::shared_ptr<Subscriber<Service>> const& subscriber);

    std::shared_ptr<SerialQueues> const queues_;
    std::shared_ptr<AdminReference> const reference_;

    // Guards everything below and the variable members of the records. Jobs are posted under it, which puts
    // them into the queues in the order of the steps; the queues take their own lock inside it, never the
    // other way round.
    mutable std::mutex mutex_;
    Records records_;
    std::unordered_map<std::string, unsigned long> instanceCounts_; // by PID, also of those that are gone
    std::mt19937_64 random_{std::random_device{}()};
    Subscribers<ConfigurationListener> listeners_;
    SubscribersByPid<ManagedService> managedServices_;
    SubscribersByPid<ManagedServiceFactory> factories_; // by factory PID
};

} // namespace agent::configurationadmin

#endif
