// The place in a bundle's library where the framework puts the bundle's context while the bundle runs.
#ifndef CPPMICROSERVICES_DETAIL_BUNDLECONTEXTSLOT_H
#define CPPMICROSERVICES_DETAIL_BUNDLECONTEXTSLOT_H

#include "cppmicroservices/FrameworkExport.h"

#include <memory>
#include <mutex>
#include <utility>

namespace cppmicroservices {
class BundleContext;
}

namespace cppmicroservices::detail {

class ContextRecord;

// The public handle to the record, which may be null.
US_Framework_EXPORT BundleContext MakeBundleContext(std::shared_ptr<ContextRecord> record);

// Thread safe: a bundle may ask for its context while the framework takes it away.
class BundleContextSlot {
public:
    std::shared_ptr<ContextRecord> load() const {
        std::lock_guard const lock(mutex_);
        return context_;
    }

    void store(std::shared_ptr<ContextRecord> context) {
        std::lock_guard const lock(mutex_);
        std::swap(context_, context);
    }

private:
    mutable std::mutex mutex_; // guards context_
    std::shared_ptr<ContextRecord> context_;
};

} // namespace cppmicroservices::detail

#endif
