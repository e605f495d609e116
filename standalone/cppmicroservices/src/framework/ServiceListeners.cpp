// The service listeners of one framework, and the delivery of service events to them.
#include "ServiceListeners.hpp"

#include "Access.hpp"
#include "BundleRecord.hpp"
#include "ContextRecord.hpp"
#include "FrameworkCore.hpp"
#include "InterfaceHint.hpp"
#include "cppmicroservices/FrameworkEvent.h"

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

namespace cppmicroservices::detail {

void ServiceListeners::add(ListenerTokenId id, std::shared_ptr<ContextRecord> const& context,
                           ServiceListener listener, std::string const& filter) {
    auto const entry = std::make_shared<Entry>();
    entry->turn = {true, id};
    entry->context = context;
    entry->listener = std::move(listener);
    if (!filter.empty()) {
        LDAPFilter expression(filter);
        auto hint = interfaceHint(filter);
        entry->interfaceId = std::move(hint.interfaceId);
        if (hint.complete) {
            entry->turn.asksForMore = false;
        } else {
            entry->filter = std::move(expression);
        }
    }
    std::lock_guard const lock(mutex_);
    context->requireValid();
    auto const added = entries_.emplace(id, entry).first;
    try {
        auto& listeners = entry->interfaceId.empty() ? general_ : byInterface_[entry->interfaceId];
        listeners.insert(entry->turn, entry);
    } catch (...) {
        disconnectWithLock(*entry);
        entries_.erase(added);
        throw;
    }
}

// What is removed is declared before the lock, so that what the listeners captured is destroyed without it.

void ServiceListeners::remove(ListenerTokenId id, ContextRecord const& context) {
    EntryMap::node_type removed;
    std::lock_guard const lock(mutex_);
    auto const found = entries_.find(id);
    if (found != entries_.end() && found->second->context.get() == &context) {
        disconnectWithLock(*found->second);
        removed = entries_.extract(found);
    }
}

void ServiceListeners::removeAllOf(ContextRecord const& context) {
    removeAllOf(context, [](ServiceListener const&) { return true; });
}

void ServiceListeners::removeAllOf(ContextRecord const& context,
                                   std::function<bool(ServiceListener const&)> const& isMeant) {
    EntryMap removed;
    std::lock_guard const lock(mutex_);
    for (auto next = entries_.begin(); next != entries_.end();) {
        auto const current = next++;
        auto& entry = current->second;
        if (entry->context.get() == &context && isMeant(entry->listener)) {
            disconnectWithLock(*entry);
            removed.insert(removed.end(), entries_.extract(current));
        }
    }
}

void ServiceListeners::disconnectWithLock(Entry& entry) {
    entry.removed.store(true, std::memory_order_release);
    if (entry.interfaceId.empty()) {
        general_.erase(entry.turn);
        return;
    }
    auto const bucket = byInterface_.find(entry.interfaceId);
    if (bucket == byInterface_.end()) {
        return; // there was no memory for it
    }
    bucket->second.erase(entry.turn);
    if (bucket->second.empty()) {
        byInterface_.erase(bucket);
    }
}

template <class Visitor>
void ServiceListeners::visit(Walks walks, ServiceRecord const& record, Visitor const& visitor) {
    if (!walks) {
        for (auto entry = findAfter(firstTurn, record); entry; entry = findAfter(entry->turn, record)) {
            visitor(*entry);
        }
        return;
    }
    auto const nextOf = [](Walk const& walk) -> Entry const& { return *(*walk.listeners)[walk.next]; };
    while (!walks->empty()) {
        auto const first =
            std::min_element(walks->begin(), walks->end(), [&](Walk const& left, Walk const& right) {
                return nextOf(left).turn < nextOf(right).turn;
            });
        visitor(nextOf(*first));
        if (++first->next == first->listeners->size()) {
            walks->erase(first);
        }
    }
}

std::shared_ptr<ServiceListeners::Entry> ServiceListeners::findAfter(Turn const& turn,
                                                                     ServiceRecord const& record) {
    std::shared_ptr<Entry> next;
    auto const lookInto = [&](Bucket const& bucket) {
        auto const* const found = bucket.findAfter(turn, [](auto const&) { return true; });
        if (found && (!next || (*found)->turn < next->turn)) {
            next = *found;
        }
    };
    std::lock_guard const lock(mutex_);
    lookInto(general_);
    for (auto const& interfaceId : record.interfaces()) {
        auto const found = byInterface_.find(interfaceId);
        if (found != byInterface_.end()) {
            lookInto(found->second);
        }
    }
    return next;
}

template <class Choose>
void ServiceListeners::call(Entry const& entry, Choose const& eventFor) noexcept {
    if (entry.removed.load(std::memory_order_acquire)) {
        return;
    }
    try {
        if (ServiceEvent const* const event = eventFor()) {
            entry.listener(*event);
        }
    } catch (...) {
        reportFailureOf(*entry.context->bundle(), std::current_exception());
    }
}

void ServiceListeners::reportFailureOf(BundleRecord& bundle, std::exception_ptr error) noexcept {
    try {
        if (auto const core = bundle.core()) {
            core->report(FrameworkEvent::FRAMEWORK_ERROR, bundle.shared_from_this(),
                         "Service listener in " + bundle.symbolicName() + " threw an exception!",
                         std::move(error));
        }
    } catch (...) {
        // No memory for the report; the other listeners are told all the same.
    }
}

void ServiceListeners::deliver(ServiceEvent::Type type,
                               std::shared_ptr<ServiceRecord> const& record) noexcept {
    auto walks = listenersFor(*record);
    if (walks && walks->empty()) {
        return;
    }
    ServiceEvent const event(type, Access::reference(record));
    auto const properties = record->properties();
    visit(std::move(walks), *record, [&](Entry const& entry) {
        call(entry, [&] { return entry.matches(*properties) ? &event : nullptr; });
    });
}

void ServiceListeners::deliverModified(std::shared_ptr<ServiceRecord> const& record,
                                       ServiceRecord::Change const& change) noexcept {
    auto walks = listenersFor(*record);
    if (walks && walks->empty()) {
        return;
    }
    auto const reference = Access::reference(record);
    ServiceEvent const modified(ServiceEvent::SERVICE_MODIFIED, reference);
    ServiceEvent const endMatch(ServiceEvent::SERVICE_MODIFIED_ENDMATCH, reference);
    visit(std::move(walks), *record, [&](Entry const& entry) {
        call(entry, [&]() -> ServiceEvent const* {
            if (entry.matches(*change.after)) {
                return &modified;
            }
            return entry.matches(*change.before) ? &endMatch : nullptr;
        });
    });
}

ServiceListeners::Walks ServiceListeners::listenersFor(ServiceRecord const& record) noexcept {
    try {
        std::vector<Walk> walks;
        std::lock_guard const lock(mutex_);
        if (!general_.empty()) {
            walks.push_back({general_.snapshot(), 0});
        }
        if (!byInterface_.empty()) {
            for (auto const& interfaceId : record.interfaces()) {
                auto const found = byInterface_.find(interfaceId);
                if (found != byInterface_.end()) {
                    walks.push_back({found->second.snapshot(), 0});
                }
            }
        }
        return walks;
    } catch (std::bad_alloc const&) {
        return std::nullopt;
    }
}

} // namespace cppmicroservices::detail
