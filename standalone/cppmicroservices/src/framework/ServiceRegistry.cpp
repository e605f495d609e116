// The registered services of one framework.
#include "ServiceRegistry.hpp"

#include "ContextRecord.hpp"
#include "InterfaceHint.hpp"
#include "ServiceListeners.hpp"
#include "cppmicroservices/LDAPFilter.h"
#include "cppmicroservices/ServiceEvent.h"

#include <atomic>
#include <map>
#include <utility>

namespace cppmicroservices::detail {

namespace {

// Each rank is asked for once, as it may change meanwhile.
void sortByRank(ServiceRegistry::Records& records) {
    std::map<ServiceRank, std::shared_ptr<ServiceRecord>> ranked;
    for (auto& record : records) {
        ranked.emplace(record->rank(), std::move(record));
    }
    records.clear();
    for (auto const& [rank, record] : ranked) {
        records.push_back(record);
    }
}

template <class Predicate>
ServiceRegistry::Records select(ServiceRegistry::Records const& records, Predicate const& isMeant) {
    ServiceRegistry::Records selected;
    for (auto const& record : records) {
        if (isMeant(*record)) {
            selected.push_back(record);
        }
    }
    return selected;
}

// Counts in the whole process, so that the services of several frameworks have an order.
std::atomic<long>& lastServiceId() noexcept {
    static std::atomic<long> last{0};
    return last;
}

} // namespace

std::shared_ptr<ServiceRecord> ServiceRegistry::registerService(ContextRecord const& context,
                                                                InterfaceMapConstPtr service,
                                                                ServiceProperties const& properties) {
    auto record = std::make_shared<ServiceRecord>(++lastServiceId(), context.bundle(), context.core(),
                                                  std::move(service), properties);
    add(context, record);
    listeners_.deliver(ServiceEvent::SERVICE_REGISTERED, record);
    return record;
}

void ServiceRegistry::setProperties(ServiceRecord& record, ServiceProperties const& properties) {
    auto const self = record.shared_from_this();
    auto const change =
        record.replaceProperties(properties, [this, &self](ServiceRecord::Change const& made) {
            if (made.oldRank.ranking != made.newRank.ranking) {
                std::lock_guard const lock(mutex_);
                if (all_.contains(self->id())) {
                    insertRankedWithLock(made.newRank, self);
                    eraseRankedWithLock(made.oldRank, *self);
                }
            }
        });
    listeners_.deliverModified(self, change);
}

void ServiceRegistry::unregister(ServiceRecord& record) {
    auto const self = record.shared_from_this();
    if (!record.beginUnregistration([&] { remove(record); })) {
        return; // a listener that is told of it does so again, or another thread does
    }
    listeners_.deliver(ServiceEvent::SERVICE_UNREGISTERING, self);
    record.beginRelease();
    record.uses().releaseAll();
    record.endUnregistration();
    record.dropService();
}

void ServiceRegistry::unregisterAllOf(BundleRecord const& registrant) {
    auto const isMeant = [&](ServiceRecord const& record) {
        return record.registrant().get() == &registrant;
    };
    forEach(isMeant, [this](ServiceRecord& record) { unregister(record); });
}

void ServiceRegistry::releaseAllOf(BundleRecord const& user) {
    forEach([](ServiceRecord const&) { return true; },
            [&user](ServiceRecord& record) { record.uses().releaseAllOf(user); });
}

void ServiceRegistry::forgetAll() {
    // Declared before the lock, so that service objects are destroyed without it.
    decltype(all_) all;
    decltype(byInterface_) byInterface;
    std::lock_guard const lock(mutex_);
    std::swap(all, all_);
    byInterface.swap(byInterface_);
}

std::shared_ptr<ServiceRegistry::Records const> ServiceRegistry::find(std::string const& interfaceId,
                                                                      std::string const& filter) {
    if (filter.empty()) {
        return snapshot(interfaceId);
    }
    if (!interfaceId.empty() && !findBest(interfaceId)) {
        return std::make_shared<Records const>();
    }
    auto const hint = interfaceHint(filter);
    auto const& wanted = interfaceId.empty() ? hint.interfaceId : interfaceId;
    bool const allHaveIt = wanted == hint.interfaceId; // what the filter asks for first
    LDAPFilter const expression(allHaveIt && !hint.remainder.empty() ? hint.remainder : filter);
    auto candidates = snapshot(wanted);
    if (hint.complete && allHaveIt) {
        return candidates;
    }
    auto matches = std::make_shared<Records>(
        select(*candidates, [&](ServiceRecord const& record) { return record.matches(expression); }));
    if (wanted.empty() && namesInterfaces(filter)) {
        sortByRank(*matches);
    }
    return matches;
}

std::shared_ptr<ServiceRecord> ServiceRegistry::findBest(std::string const& interfaceId) {
    std::lock_guard const lock(mutex_);
    if (interfaceId.empty()) {
        return all_.empty() ? nullptr : all_.front();
    }
    auto const found = byInterface_.find(interfaceId);
    return found == byInterface_.end() ? nullptr : found->second.front();
}

ServiceRegistry::Records ServiceRegistry::registeredBy(BundleRecord const& registrant) {
    return select(*snapshot({}),
                  [&](ServiceRecord const& record) { return record.registrant().get() == &registrant; });
}

ServiceRegistry::Records ServiceRegistry::usedBy(BundleRecord const& user) {
    return select(*snapshot({}), [&](ServiceRecord& record) { return record.uses().usedBy(user); });
}

void ServiceRegistry::add(ContextRecord const& context, std::shared_ptr<ServiceRecord> const& record) {
    std::lock_guard const lock(mutex_);
    context.requireValid();
    all_.insert(record->id(), record);
    try {
        insertRankedWithLock(record->rank(), record);
    } catch (...) {
        all_.erase(record->id());
        throw;
    }
}

void ServiceRegistry::remove(ServiceRecord const& record) {
    std::lock_guard const lock(mutex_);
    all_.erase(record.id());
    eraseRankedWithLock(record.rank(), record);
}

void ServiceRegistry::insertRankedWithLock(ServiceRank const& rank,
                                           std::shared_ptr<ServiceRecord> const& record) {
    try {
        for (auto const& interfaceId : record->interfaces()) {
            byInterface_[interfaceId].insert(rank, record);
        }
    } catch (...) {
        eraseRankedWithLock(rank, *record);
        throw;
    }
}

void ServiceRegistry::eraseRankedWithLock(ServiceRank const& rank, ServiceRecord const& record) noexcept {
    for (auto const& interfaceId : record.interfaces()) {
        auto const found = byInterface_.find(interfaceId);
        if (found == byInterface_.end()) {
            continue;
        }
        found->second.erase(rank);
        if (found->second.empty()) {
            byInterface_.erase(found);
        }
    }
}

std::shared_ptr<ServiceRegistry::Records const> ServiceRegistry::snapshot(std::string const& interfaceId) {
    std::lock_guard const lock(mutex_);
    if (interfaceId.empty()) {
        return all_.snapshot();
    }
    auto const found = byInterface_.find(interfaceId);
    return found == byInterface_.end() ? std::make_shared<Records const>() : found->second.snapshot();
}

// Those that are registered meanwhile have later identifiers.
template <class Predicate, class Action>
void ServiceRegistry::forEach(Predicate const& isMeant, Action const& action) {
    auto const last = lastServiceId().load();
    auto const isNext = [&](ServiceRecord const& record) { return record.id() <= last && isMeant(record); };
    for (auto record = findAfter(0, isNext); record; record = findAfter(record->id(), isNext)) {
        action(*record);
    }
}

template <class Predicate>
std::shared_ptr<ServiceRecord> ServiceRegistry::findAfter(long id, Predicate const& isMeant) {
    std::lock_guard const lock(mutex_);
    auto const* const found = all_.findAfter(id, [&](auto const& record) { return isMeant(*record); });
    return found ? *found : nullptr;
}

} // namespace cppmicroservices::detail
