// What a bundle context stands for: one run of one bundle.
#include "ContextRecord.hpp"

#include "Access.hpp"
#include "FrameworkCore.hpp"
#include "cppmicroservices/IllegalStateException.h"

#include <utility>

namespace cppmicroservices::detail {

ContextRecord::ContextRecord(std::shared_ptr<BundleRecord> bundle, std::weak_ptr<FrameworkCore> core)
    : bundle_(std::move(bundle))
    , core_(std::move(core)) {}

void ContextRecord::requireValid() const {
    if (!valid()) {
        throwInvalidContext();
    }
}

std::shared_ptr<FrameworkCore> ContextRecord::core() const {
    requireValid();
    auto core = core_.lock();
    if (!core) {
        throwInvalidContext();
    }
    return core;
}

void ContextRecord::invalidate() {
    valid_.store(false);
}

void ContextRecord::notifyWatchers() {
    std::map<ContextWatchId, std::function<void()>> watchers;
    {
        std::lock_guard const lock(mutex_);
        watchers.swap(watchers_);
    }
    for (auto const& [id, watcher] : watchers) {
        watcher();
    }
}

ContextWatchId ContextRecord::watch(std::function<void()> watcher) {
    std::lock_guard const lock(mutex_);
    auto const id = ++lastWatch_;
    watchers_.emplace(id, std::move(watcher));
    return id;
}

void ContextRecord::unwatch(ContextWatchId id) {
    std::map<ContextWatchId, std::function<void()>>::node_type watcher; // destroyed without the lock
    std::lock_guard const lock(mutex_);
    watcher = watchers_.extract(id);
}

void throwInvalidContext() {
    throw IllegalStateException("The bundle context is no longer valid");
}

ContextWatch::ContextWatch(BundleContext const& context, std::function<void()> invalidated)
    : record_(Access::record(context)) {
    if (record_) {
        id_ = record_->watch(std::move(invalidated));
    }
}

ContextWatch::~ContextWatch() {
    if (record_) {
        record_->unwatch(id_);
    }
}

} // namespace cppmicroservices::detail
