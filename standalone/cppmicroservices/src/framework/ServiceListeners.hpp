// The service listeners of one framework, and the delivery of service events to them.
#ifndef CPPMICROSERVICES_SRC_FRAMEWORK_SERVICELISTENERS_HPP
#define CPPMICROSERVICES_SRC_FRAMEWORK_SERVICELISTENERS_HPP

#include "ServiceRecord.hpp"
#include "SnapshotMap.hpp"
#include "cppmicroservices/LDAPFilter.h"
#include "cppmicroservices/ListenerFunctors.h"
#include "cppmicroservices/ListenerToken.h"
#include "cppmicroservices/ServiceEvent.h"

#include <atomic>
#include <cstddef>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace cppmicroservices::detail {

class ContextRecord;

// Thread safe. Listeners that ask for one interface are told only of services with it, without a look at the
// others. To remove listeners takes no memory, nor does it to tell them.
//
// Those that ask for an interface and nothing else, such as most trackers, are told first, and then the
// others; of either, the latest first. Programs should not rely on it, but see what they would see with
// CppMicroServices, as long as there are a few listeners.
class ServiceListeners {
public:
    // \throws std::invalid_argument if `filter` is neither empty nor an expression
    void add(ListenerTokenId id, std::shared_ptr<ContextRecord> const& context, ServiceListener listener,
             std::string const& filter);
    // Does nothing unless the listener was added with the same context.
    void remove(ListenerTokenId id, ContextRecord const& context);
    // Removes those for which `isMeant` is true; it is called with the lock held and must only compare.
    void removeAllOf(ContextRecord const& context,
                     std::function<bool(ServiceListener const&)> const& isMeant);
    void removeAllOf(ContextRecord const& context);

    void deliver(ServiceEvent::Type type, std::shared_ptr<ServiceRecord> const& record) noexcept;
    void deliverModified(std::shared_ptr<ServiceRecord> const& record,
                         ServiceRecord::Change const& change) noexcept;

private:
    struct Turn {
        bool asksForMore; // than for an interface
        ListenerTokenId id;

        bool operator<(Turn const& other) const noexcept {
            return asksForMore != other.asksForMore ? other.asksForMore : id > other.id;
        }
    };
    static constexpr Turn firstTurn{false, std::numeric_limits<ListenerTokenId>::max()}; // nobody's
    struct Entry {
        Turn turn;
        std::shared_ptr<ContextRecord> context;
        ServiceListener listener;
        std::string interfaceId;          // the only interface asked for; empty if there is not one
        std::optional<LDAPFilter> filter; // what is asked for beyond the interface
        std::atomic<bool> removed{false};

        bool matches(AnyMap const& properties) const { return !filter || filter->Match(properties); }
    };
    using EntryMap = std::map<ListenerTokenId, std::shared_ptr<Entry>>;
    using Bucket = SnapshotMap<Turn, std::shared_ptr<Entry>>;

    // A walk along the listeners of one bucket; there is a next one.
    struct Walk {
        std::shared_ptr<Bucket::Values const> listeners;
        std::size_t next;
    };
    using Walks = std::optional<std::vector<Walk>>; // nothing if there is no memory for them

    // Takes the listener out of all but entries_.
    void disconnectWithLock(Entry& entry);
    Walks listenersFor(ServiceRecord const& record) noexcept;
    // Calls `visitor` with each listener that the service concerns, as it is its turn.
    template <class Visitor>
    void visit(Walks walks, ServiceRecord const& record, Visitor const& visitor);
    // The listener whose turn is next after `turn`; null if there is none.
    std::shared_ptr<Entry> findAfter(Turn const& turn, ServiceRecord const& record);
    // Tells the listener of the event that `eventFor()` returns, if it returns one. What that or the
    // listener throws is reported.
    template <class Choose>
    static void call(Entry const& entry, Choose const& eventFor) noexcept;
    static void reportFailureOf(BundleRecord& bundle, std::exception_ptr error) noexcept;

    std::mutex mutex_; // guards what follows
    EntryMap entries_;
    Bucket general_;                                      // of entries_, those without an interface
    std::unordered_map<std::string, Bucket> byInterface_; // the others
};

} // namespace cppmicroservices::detail

#endif
