// A service that is told of changes, for as long as it is registered.
#ifndef CPPMICROSERVICES_CONFIGADMIN_SUBSCRIBER_HPP
#define CPPMICROSERVICES_CONFIGADMIN_SUBSCRIBER_HPP

#include <algorithm>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace agent::configurationadmin {

// Thread-safe.
template <class Service>
class Subscriber {
public:
    Subscriber(std::shared_ptr<Service> service, std::string pid)
        : pid_(std::move(pid))
        , service_(std::move(service)) {}

    // The PID that the service was registered with; empty if it has none.
    std::string const& pid() const noexcept { return pid_; }

    // The service, or null once it has left.
    std::shared_ptr<Service> service() const {
        std::lock_guard lock{mutex_};
        return service_;
    }

    // Releases the service, so that changes that are still to be delivered pass it by and do not keep it
    // alive.
    void leave() {
        std::shared_ptr<Service> service;
        std::lock_guard lock{mutex_};
        service.swap(service_); // released after the lock: its destructor is foreign code
    }

private:
    std::string const pid_;
    mutable std::mutex mutex_; // guards service_
    std::shared_ptr<Service> service_;
};

// Immutable, so that a change can keep the list of those it concerns without a copy; in the order of
// registration.
template <class Service>
using Subscribers = std::shared_ptr<std::vector<std::shared_ptr<Subscriber<Service>>> const>;

template <class Service>
Subscribers<Service> withSubscriber(Subscribers<Service> const& list,
                                    std::shared_ptr<Subscriber<Service>> const& subscriber) {
    auto extended = list ? *list : std::vector<std::shared_ptr<Subscriber<Service>>>{};
    extended.push_back(subscriber);
    return std::make_shared<std::vector<std::shared_ptr<Subscriber<Service>>> const>(std::move(extended));
}

// Null if the list becomes empty.
template <class Service>
Subscribers<Service> withoutSubscriber(Subscribers<Service> const& list,
                                       std::shared_ptr<Subscriber<Service>> const& subscriber) {
    if (!list) {
        return nullptr;
    }
    auto reduced = *list;
    reduced.erase(std::remove(reduced.begin(), reduced.end(), subscriber), reduced.end());
    if (reduced.empty()) {
        return nullptr;
    }
    return std::make_shared<std::vector<std::shared_ptr<Subscriber<Service>>> const>(std::move(reduced));
}

} // namespace agent::configurationadmin

#endif
