// What a bundle context stands for: one run of one bundle.
#ifndef CPPMICROSERVICES_SRC_FRAMEWORK_CONTEXTRECORD_HPP
#define CPPMICROSERVICES_SRC_FRAMEWORK_CONTEXTRECORD_HPP

#include "cppmicroservices/detail/ContextWatch.h"

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>

namespace cppmicroservices::detail {

class BundleRecord;
class FrameworkCore;

// Thread safe. Valid from its making until invalidate(), never again after.
class ContextRecord {
public:
    ContextRecord(std::shared_ptr<BundleRecord> bundle, std::weak_ptr<FrameworkCore> core);

    bool valid() const noexcept { return valid_.load(); }
    // \throws IllegalStateException unless valid
    void requireValid() const;

    std::shared_ptr<BundleRecord> const& bundle() const noexcept { return bundle_; }
    // \throws IllegalStateException unless valid
    std::shared_ptr<FrameworkCore> core() const;

    // Makes the context invalid. What is to be taken back from its bundle is taken back after this, so that
    // nothing can be added unnoticed: whoever adds something checks valid() under the lock that guards what
    // it adds to.
    void invalidate();

    // Calls the watchers, each once, with no lock held.
    void notifyWatchers();

    // Has `watcher` called when the context has become invalid; not if it has been before.
    ContextWatchId watch(std::function<void()> watcher);
    // After this returns no call to the watcher begins.
    void unwatch(ContextWatchId id);

private:
    std::shared_ptr<BundleRecord> const bundle_;
    std::weak_ptr<FrameworkCore> const core_;
    // Written before the registry's last identifier is read, and read by whoever has taken a later one: only
    // in the strongest order does one of the two see what the other has done.
    std::atomic<bool> valid_{true};

    std::mutex mutex_; // guards what follows
    std::map<ContextWatchId, std::function<void()>> watchers_;
    ContextWatchId lastWatch_ = 0;
};

// \throws IllegalStateException, as every use of a context that is not valid does
[[noreturn]] void throwInvalidContext();

} // namespace cppmicroservices::detail

#endif
