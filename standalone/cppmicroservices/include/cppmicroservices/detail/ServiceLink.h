// What a service reference holds: the registration and the interface it names, as one value that threads may
// share.
#ifndef CPPMICROSERVICES_DETAIL_SERVICELINK_H
#define CPPMICROSERVICES_DETAIL_SERVICELINK_H

#include <atomic>
#include <memory>
#include <string>
#include <utility>

namespace cppmicroservices::detail {

class ServiceRecord;
struct Access;

// Thread safe: loads and stores of one link by several threads do not disturb each other.
class ServiceLink {
public:
    struct Target {
        std::shared_ptr<ServiceRecord> record;
        // Lies in `record`, which keeps it; null if no interface is named.
        std::string const* interfaceId = nullptr;
    };

    ServiceLink() = default;
    explicit ServiceLink(Target target)
        : target_(std::move(target)) {}
    ServiceLink(ServiceLink const& other)
        : target_(other.load()) {}
    ServiceLink& operator=(ServiceLink const& other) {
        store(other.load());
        return *this;
    }
    ~ServiceLink() = default;

    Target load() const {
        lock();
        Target copy = target_;
        unlock();
        return copy;
    }

    void store(Target target) {
        lock();
        std::swap(target_, target);
        unlock();
    }

private:
    // Held for the copy or swap of a pointer pair only, so waiting for it by spinning is cheaper than a
    // mutex.
    void lock() const noexcept {
        while (locked_.test_and_set(std::memory_order_acquire)) {
        }
    }
    void unlock() const noexcept { locked_.clear(std::memory_order_release); }

    Target target_; // guarded by locked_
    mutable std::atomic_flag locked_ = ATOMIC_FLAG_INIT;
};

} // namespace cppmicroservices::detail

#endif
