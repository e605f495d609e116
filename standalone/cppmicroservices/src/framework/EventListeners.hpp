// The listeners of one kind of event without a filter: bundle events, framework events.
#ifndef CPPMICROSERVICES_SRC_FRAMEWORK_EVENTLISTENERS_HPP
#define CPPMICROSERVICES_SRC_FRAMEWORK_EVENTLISTENERS_HPP

#include "ContextRecord.hpp"
#include "SnapshotMap.hpp"
#include "cppmicroservices/ListenerToken.h"

#include <atomic>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

namespace cppmicroservices::detail {

// Thread safe. Listeners are called with no lock held, the latest first. To remove them takes no memory, nor
// does it to tell them.
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

    // Calls every listener; `handleError`, which must not throw, with the listener's context while an
    // exception of the listener is handled.
    template <class HandleError>
    void deliver(Event const& event, HandleError const& handleError) noexcept {
        auto const entries = snapshot();
        if (!entries) {
            for (auto entry = findAfter(beforeAll); entry; entry = findAfter(entry->id)) {
                call(*entry, event, handleError);
            }
            return;
        }
        for (auto const& entry : *entries) {
            call(*entry, event, handleError);
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
    static constexpr auto beforeAll = std::numeric_limits<ListenerTokenId>::max(); // nobody's

    template <class HandleError>
    static void call(Entry const& entry, Event const& event, HandleError const& handleError) {
        if (entry.removed.load(std::memory_order_acquire)) {
            return;
        }
        try {
            entry.listener(event);
        } catch (...) {
            handleError(*entry.context);
        }
    }

    // Null if there is no memory for it.
    std::shared_ptr<typename Entries::Values const> snapshot() noexcept {
        try {
            std::lock_guard const lock(mutex_);
            return entries_.snapshot();
        } catch (std::bad_alloc const&) {
            return nullptr;
        }
    }

    // Null if there is none.
    std::shared_ptr<Entry> findAfter(ListenerTokenId id) {
        std::lock_guard const lock(mutex_);
        auto const* const found = entries_.findAfter(id, [](auto const&) { return true; });
        return found ? *found : nullptr;
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
