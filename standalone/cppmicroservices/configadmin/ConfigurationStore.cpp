// All configurations: what changes them, and who is told.
#include "ConfigurationStore.hpp"

#include "ConfigurationHandle.hpp"

#include <cppmicroservices/LDAPFilter.h>

#include <cstddef>
#include <new>
#include <stdexcept>
#include <string_view>

namespace agent::configurationadmin {

using cppmicroservices::AnyMap;
using cppmicroservices::service::cm::ConfigurationEventType;

namespace {

constexpr std::size_t generatedNameLength = 6;
constexpr std::string_view generatedNameCharacters =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

std::string factoryPidOf(std::string const& pid) {
    auto const separator = pid.find(factorySeparator);
    return separator == std::string::npos ? std::string{} : pid.substr(0, separator);
}

std::shared_ptr<AnyMap const> noProperties() {
    return std::make_shared<AnyMap const>(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
}

std::shared_future<void> readyFuture() {
    std::promise<void> done;
    done.set_value();
    return done.get_future().share();
}

void requirePresenceWithLock(Record const& record) {
    if (record.removed) {
        throw std::runtime_error("This Configuration has been Removed");
    }
}

Change removalOf(Record const& record) {
    return {ConfigurationEventType::CM_DELETED, record.pid, noProperties()};
}

// What a filter sees. The PID hides a property of the same name.
AnyMap filteredProperties(AnyMap const& properties, std::string const& pid) {
    auto result = properties; // of the same kind: a filter refuses a map with case variants of a key
    result["pid"] = pid;
    return result;
}

template <class Service>
Subscribers<Service> subscribersOf(std::unordered_map<std::string, Subscribers<Service>> const& byPid,
                                   std::string const& pid) {
    auto const found = byPid.find(pid);
    return found == byPid.end() ? nullptr : found->second;
}

template <class Service>
void removeSubscriber(std::unordered_map<std::string, Subscribers<Service>>& byPid,
                      std::shared_ptr<Subscriber<Service>> const& subscriber) {
    auto const found = byPid.find(subscriber->pid());
    if (found == byPid.end()) {
        return;
    }
    found->second = withoutSubscriber(found->second, subscriber);
    if (!found->second) {
        byPid.erase(found);
    }
}

} // namespace

ConfigurationStore::ConfigurationStore(std::shared_ptr<SerialQueues> queues,
                                       std::shared_ptr<AdminReference> reference)
    : queues_(std::move(queues))
    , reference_(std::move(reference)) {}

std::shared_ptr<ConfigurationStore::Configuration> ConfigurationStore::get(std::string const& pid) {
    std::lock_guard lock{mutex_};
    return handleWithLock(recordWithLock(pid));
}

std::shared_ptr<ConfigurationStore::Configuration> ConfigurationStore::get(std::string const& factoryPid,
                                                                           std::string const& instanceName) {
    return get(factoryPid + factorySeparator + instanceName);
}

std::shared_ptr<ConfigurationStore::Configuration> ConfigurationStore::create(std::string const& factoryPid) {
    std::lock_guard lock{mutex_};
    return handleWithLock(newRecordWithLock(unusedPidWithLock(factoryPid), factoryPid));
}

std::vector<std::shared_ptr<ConfigurationStore::Configuration>>
ConfigurationStore::list(std::string const& filter) {
    auto const parsed =
        filter.empty() ? cppmicroservices::LDAPFilter{} : cppmicroservices::LDAPFilter{filter};
    struct Candidate {
        std::string const* pid;
        std::shared_ptr<AnyMap const> properties;
        std::shared_ptr<Configuration> handle; // keeps what `pid` points to
    };
    std::vector<Candidate> candidates;
    {
        std::lock_guard lock{mutex_};
        for (auto const& [pid, record] : records_) {
            if (record->changeCount > 0) {
                candidates.push_back({&record->pid, record->properties, handleWithLock(record)});
            }
        }
    }
    std::vector<std::shared_ptr<Configuration>> result;
    for (auto& candidate : candidates) {
        if (filter.empty() || parsed.Match(filteredProperties(*candidate.properties, *candidate.pid))) {
            result.push_back(std::move(candidate.handle));
        }
    }
    return result;
}

void ConfigurationStore::requirePresence(Record const& record) const {
    std::lock_guard lock{mutex_};
    requirePresenceWithLock(record);
}

std::shared_ptr<AnyMap const> ConfigurationStore::properties(Record const& record) const {
    std::lock_guard lock{mutex_};
    requirePresenceWithLock(record);
    return record.properties;
}

unsigned long ConfigurationStore::changeCount(Record const& record) const {
    std::lock_guard lock{mutex_};
    requirePresenceWithLock(record);
    return record.changeCount;
}

std::shared_future<void> ConfigurationStore::update(Record& record, AnyMap properties) {
    auto updated = std::make_shared<AnyMap const>(std::move(properties));
    std::lock_guard lock{mutex_};
    requirePresenceWithLock(record);
    return storeWithLock(record, updated);
}

std::pair<bool, std::shared_future<void>> ConfigurationStore::updateIfDifferent(Record& record,
                                                                                AnyMap properties) {
    auto stored = storeIfDifferent(record, std::make_shared<AnyMap const>(std::move(properties)));
    return stored ? std::pair(true, std::move(*stored)) : std::pair(false, readyFuture());
}

std::shared_future<void> ConfigurationStore::remove(Record& record) {
    std::lock_guard lock{mutex_};
    requirePresenceWithLock(record);
    return removeWithLock(record);
}

std::optional<ConfigurationStore::Provided> ConfigurationStore::provide(std::string const& pid,
                                                                        AnyMap const& properties) {
    auto const provided = std::make_shared<AnyMap const>(properties);
    std::unique_lock lock{mutex_};
    bool const isNew = records_.count(pid) == 0;
    auto const record = recordWithLock(pid);
    if (isNew) { // also if there is nothing in the properties
        auto stored = provided;
        try {
            storeWithLock(*record, stored);
        } catch (std::bad_alloc const&) {
            records_.erase(pid);
            throw;
        }
    } else {
        lock.unlock();
        storeIfDifferent(*record, provided);
        lock.lock();
    }
    bool const isProvided = !record->removed && (record->properties == provided || record->changeCount == 0);
    return isProvided ? std::optional(Provided{record, record->changeCount}) : std::nullopt;
}

void ConfigurationStore::withdraw(Provided const& provided) noexcept {
    std::lock_guard lock{mutex_};
    auto& record = *provided.record;
    if (!record.removed && record.changeCount == provided.changeCount) {
        try {
            removeWithLock(record);
        } catch (std::bad_alloc const&) {
            forgetWithLock(record); // there is no memory to tell anybody
        }
    }
}

void ConfigurationStore::add(std::shared_ptr<Subscriber<ConfigurationListener>> const& subscriber) {
    std::lock_guard lock{mutex_};
    listeners_ = withSubscriber(listeners_, subscriber);
}

void ConfigurationStore::add(std::shared_ptr<Subscriber<ManagedService>> const& subscriber) {
    std::lock_guard lock{mutex_};
    auto& subscribers = managedServices_[subscriber->pid()];
    subscribers = withSubscriber(subscribers, subscriber);
    auto const found = records_.find(subscriber->pid());
    if (found != records_.end()) {
        postInitialWithLock(*found->second, subscriber);
    }
}

void ConfigurationStore::add(std::shared_ptr<Subscriber<ManagedServiceFactory>> const& subscriber) {
    std::lock_guard lock{mutex_};
    auto& subscribers = factories_[subscriber->pid()];
    subscribers = withSubscriber(subscribers, subscriber);
    auto const prefix = subscriber->pid() + factorySeparator;
    for (auto found = records_.lower_bound(prefix);
         found != records_.end() && found->first.compare(0, prefix.size(), prefix) == 0; ++found) {
        if (found->second->factoryPid == subscriber->pid()) {
            postInitialWithLock(*found->second, subscriber);
        }
    }
}

void ConfigurationStore::remove(std::shared_ptr<Subscriber<ConfigurationListener>> const& subscriber) {
    subscriber->leave();
    std::lock_guard lock{mutex_};
    listeners_ = withoutSubscriber(listeners_, subscriber);
}

void ConfigurationStore::remove(std::shared_ptr<Subscriber<ManagedService>> const& subscriber) {
    subscriber->leave();
    std::lock_guard lock{mutex_};
    removeSubscriber(managedServices_, subscriber);
}

void ConfigurationStore::remove(std::shared_ptr<Subscriber<ManagedServiceFactory>> const& subscriber) {
    subscriber->leave();
    std::lock_guard lock{mutex_};
    removeSubscriber(factories_, subscriber);
}

void ConfigurationStore::stop() {
    std::vector<std::pair<Change, Recipients>> farewells;
    {
        std::lock_guard lock{mutex_};
        queues_->refuse(); // in one step with what is told instead, which so ends all that was ever delivered
        try {
            for (auto const& [pid, record] : records_) {
                if (record->changeCount > 0) {
                    auto change = removalOf(*record);
                    auto recipients = recipientsWithLock(change);
                    farewells.emplace_back(std::move(change), std::move(recipients));
                }
            }
        } catch (std::bad_alloc const&) {
            // There is no memory to tell of the others.
        }
    }
    queues_->stop();
    for (auto const& [change, recipients] : farewells) {
        deliver(change, {nullptr, recipients.managedServices, nullptr}, *reference_);
    }
    for (auto const& [change, recipients] : farewells) {
        deliver(change, {nullptr, nullptr, recipients.factories}, *reference_);
    }
}

// The existing or a new one.
std::shared_ptr<Record> ConfigurationStore::recordWithLock(std::string const& pid) {
    auto const found = records_.find(pid);
    if (found != records_.end()) {
        return found->second;
    }
    return newRecordWithLock(pid, factoryPidOf(pid));
}

std::shared_ptr<Record> ConfigurationStore::newRecordWithLock(std::string const& pid,
                                                              std::string const& factoryPid) {
    auto record = std::make_shared<Record>(Record{pid, factoryPid, ++instanceCounts_[pid], noProperties()});
    records_.emplace(pid, record);
    return record;
}

std::shared_ptr<ConfigurationStore::Configuration>
ConfigurationStore::handleWithLock(std::shared_ptr<Record> const& record) {
    if (auto existing = record->handle.lock()) {
        return existing;
    }
    auto created = std::make_shared<ConfigurationHandle>(shared_from_this(), queues_, record);
    record->handle = created;
    return created;
}

std::string ConfigurationStore::unusedPidWithLock(std::string const& factoryPid) {
    std::uniform_int_distribution<std::size_t> anyCharacter{0, generatedNameCharacters.size() - 1};
    std::string pid;
    do {
        pid = factoryPid + factorySeparator;
        for (std::size_t i = 0; i < generatedNameLength; ++i) {
            pid += generatedNameCharacters[anyCharacter(random_)];
        }
    } while (instanceCounts_.count(pid) > 0);
    return pid;
}

// Nothing if the configuration has these properties.
std::optional<std::shared_future<void>>
ConfigurationStore::storeIfDifferent(Record& record, std::shared_ptr<AnyMap const> updated) {
    auto current = this->properties(record);
    for (;;) {
        if (*current == *updated) { // without the lock, because it compares values of the client's types
            return std::nullopt;
        }
        std::lock_guard lock{mutex_};
        requirePresenceWithLock(record);
        if (record.properties == current) {
            return storeWithLock(record, updated);
        }
        current = record.properties;
    }
}

// Leaves the former properties in `properties`, for the caller to destroy without the lock. Announces first:
// if there is no memory for that, nothing is changed.
std::shared_future<void> ConfigurationStore::storeWithLock(Record& record,
                                                           std::shared_ptr<AnyMap const>& properties) {
    auto announced = announceWithLock({ConfigurationEventType::CM_UPDATED, record.pid, properties});
    record.properties.swap(properties);
    ++record.changeCount;
    return announced;
}

std::shared_future<void> ConfigurationStore::removeWithLock(Record& record) {
    auto announced = record.changeCount == 0 ? readyFuture() : announceWithLock(removalOf(record));
    forgetWithLock(record);
    return announced;
}

void ConfigurationStore::forgetWithLock(Record& record) noexcept {
    record.removed = true;
    records_.erase(record.pid);
}

std::shared_future<void> ConfigurationStore::announceWithLock(Change change) {
    auto const pid = change.pid;
    auto recipients = recipientsWithLock(change);
    return queues_->post(pid, [change = std::move(change), recipients = std::move(recipients),
                               reference = reference_] { deliver(change, recipients, *reference); });
}

Recipients ConfigurationStore::recipientsWithLock(Change const& change) const {
    // By the PID's form, as the listeners are told, even if it was created for a factory of another PID.
    auto const factoryPid = factoryPidOf(change.pid);
    return {listeners_, subscribersOf(managedServices_, change.pid),
            factoryPid.empty() ? nullptr : subscribersOf(factories_, factoryPid)};
}

template <class Service>
void ConfigurationStore::postInitialWithLock(Record const& record,
                                             std::shared_ptr<Subscriber<Service>> const& subscriber) {
    if (record.changeCount == 0) {
        return;
    }
    Change change{ConfigurationEventType::CM_UPDATED, record.pid, record.properties};
    queues_->post(record.pid, [change = std::move(change), subscriber] { deliver(change, *subscriber); });
}

} // namespace agent::configurationadmin
