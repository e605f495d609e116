// The listeners of one kind of event without a filter: bundle events, framework events.
#ifndef CPPMICROSERVICES_SRC_FRAMEWORK_EVENTLISTENERS_HPP
#define CPPMICROSERVICES_SRC_FRAMEWORK_EVENTLISTENERS_HPP

#include "ContextRecord.hpp"
#include "SnapshotMap.hpp"
#include "cppmicroservices/ListenerToken.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace cppmicroservices::detail {

// Thread safe. Listeners are called with no lock held, the latest first. To remove them takes no memory.
template <class Event>
class EventListeners {
public:
    using Listener = std::function<void(Event const&)>;

    void add(ListenerTokenId id, std::shared_ptr<ContextRecord> const& context, Listener listener) {
        auto entry = std::make_shared<Entry>();
        entry->id = id;
        entry->context = context;
        entry->listener = std::move(listener);
        std::lock_guard const lock(mutex_);
        context->requireValid();
        entries_.insert(id, std::move(entry));
    }

    // Does nothing unless the listener was added with the same context.
    void remove(ListenerTokenId id, ContextRecord const& context) {
        removeIf(
            [id, &context](Entry const& entry) { return entry.id == id && entry.context.get() == &context; });
    }

    void removeAllOf(ContextRecord const& context) {
        removeIf([&context](Entry const& entry) { return entry.context.get() == &context; });
    }

    // `isMeant` is called with the lock held and must only compare.
    template <class Predicate>
    void removeAllOf(ContextRecord const& context, Predicate const& isMeant) {
        removeIf(
            [&](Entry const& entry) { return entry.context.get() == &context && isMeant(entry.listener); });
    }

    // Calls every listener; `handleError` with the listener's context while an exception of the listener is
    // handled.
    template <class HandleError>
    void deliver(Event const& event, HandleError const& handleError) {
        auto const entries = snapshot();
        for (auto const& entry : *entries) {
            if (entry->removed.load(std::memory_order_acquire)) {
                continue;
            }
            try {
                entry->listener(event);
            } catch (...) {
                handleError(*entry->context);
            }
        }
    }

private:
    struct Entry {
        ListenerTokenId id = 0;
        std::shared_ptr<ContextRecord> context;
        Listener listener;
        std::atomic<bool> removed{false};
    };
    using Entries = SnapshotMap<ListenerTokenId, std::shared_ptr<Entry>, std::greater<>>;

    std::shared_ptr<typename Entries::Values const> snapshot() {
        std::lock_guard const lock(mutex_);
        return entries_.snapshot();
    }

    template <class Predicate>
    void removeIf(Predicate const& predicate) {
        // Declared before the lock, so that what a listener captured is destroyed without it.
        typename Entries::Map removed;
        std::lock_guard const lock(mutex_);
        removed = entries_.extractIf([&](auto const& entry) { return predicate(*entry); });
        for (auto const& [id, entry] : removed) {
            entry->removed.store(true, std::memory_order_release);
        }
    }

    std::mutex mutex_; // guards entries_
    Entries entries_;
};

} // namespace cppmicroservices::detail

#endif
