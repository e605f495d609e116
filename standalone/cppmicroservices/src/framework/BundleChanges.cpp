// Who may change the state of which bundle.
#include "BundleChanges.hpp"

#include "BundleRecord.hpp"

#include <stdexcept>
#include <utility>

namespace cppmicroservices::detail {

BundleChanges::Right::Right(BundleChanges& changes, BundleRecord const& bundle)
    : changes_(changes)
    , bundle_(bundle) {
    std::unique_lock lock(changes.mutex_);
    while (changes.findHeldWithLock(bundle)) {
        changes.requireNoCircleWithLock(bundle);
        linkWithLock();
        changes.released_.wait(lock);
        unlinkWithLock();
    }
    isHeld_ = true;
    linkWithLock();
}

BundleChanges::Right::~Right() {
    std::lock_guard const lock(changes_.mutex_);
    unlinkWithLock();
    changes_.released_.notify_all();
}

void BundleChanges::Right::linkWithLock() {
    next_ = std::exchange(changes_.rights_, this);
}

void BundleChanges::Right::unlinkWithLock() {
    auto** link = &changes_.rights_;
    while (*link != this) {
        link = &(*link)->next_;
    }
    *link = next_;
}

BundleChanges::Right const* BundleChanges::findHeldWithLock(BundleRecord const& bundle) const {
    auto const* right = rights_;
    while (right && !(right->isHeld_ && &right->bundle_ == &bundle)) {
        right = right->next_;
    }
    return right;
}

BundleChanges::Right const* BundleChanges::findAwaitedWithLock(std::thread::id thread) const {
    auto const* right = rights_;
    while (right && (right->isHeld_ || right->thread_ != thread)) {
        right = right->next_;
    }
    return right;
}

void BundleChanges::requireNoCircleWithLock(BundleRecord const& bundle) const {
    auto const self = std::this_thread::get_id();
    auto const* held = findHeldWithLock(bundle);
    if (held->thread_ == self) {
        throw std::logic_error(bundle.description() + " tries to change its own state");
    }
    while (held) {
        auto const* const awaited = findAwaitedWithLock(held->thread_);
        held = awaited ? findHeldWithLock(awaited->bundle_) : nullptr;
        if (held && held->thread_ == self) {
            throw std::runtime_error(
                bundle.description() +
                " cannot change its state: the thread that changes it waits for this one");
        }
    }
}

} // namespace cppmicroservices::detail
