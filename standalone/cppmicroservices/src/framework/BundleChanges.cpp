// Who may change the state of which bundle.
#include "BundleChanges.hpp"

#include "BundleRecord.hpp"

#include <stdexcept>

namespace cppmicroservices::detail {

BundleChanges::Right::Right(BundleChanges& changes, BundleRecord const& bundle)
    : changes_(changes)
    , bundle_(bundle) {
    auto const self = std::this_thread::get_id();
    std::unique_lock lock(changes.mutex_);
    while (changes.holders_.count(&bundle) > 0) {
        changes.requireNoCircleWithLock(bundle);
        changes.waiting_[self] = &bundle;
        changes.released_.wait(lock);
        changes.waiting_.erase(self);
    }
    changes.holders_[&bundle] = self;
}

BundleChanges::Right::~Right() {
    std::lock_guard const lock(changes_.mutex_);
    changes_.holders_.erase(&bundle_);
    changes_.released_.notify_all();
}

void BundleChanges::requireNoCircleWithLock(BundleRecord const& bundle) const {
    auto const self = std::this_thread::get_id();
    auto const* wanted = &bundle;
    for (auto holder = holders_.find(wanted); holder != holders_.end(); holder = holders_.find(wanted)) {
        if (holder->second == self && wanted == &bundle) {
            throw std::logic_error(bundle.description() + " tries to change its own state");
        }
        if (holder->second == self) {
            throw std::runtime_error(
                bundle.description() +
                " cannot change its state: the thread that changes it waits for this one");
        }
        auto const waiting = waiting_.find(holder->second);
        if (waiting == waiting_.end()) {
            return;
        }
        wanted = waiting->second;
    }
}

} // namespace cppmicroservices::detail
