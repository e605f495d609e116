// Lets a waiting thread learn that a bundle context has become invalid.
#ifndef CPPMICROSERVICES_DETAIL_CONTEXTWATCH_H
#define CPPMICROSERVICES_DETAIL_CONTEXTWATCH_H

#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/FrameworkExport.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace cppmicroservices::detail {

using ContextWatchId = std::uint64_t;

// Has a function called once when a context becomes invalid, until this object is destroyed. Not thread
// safe.
class US_Framework_EXPORT ContextWatch {
public:
    // `invalidated` is called from another thread, and may be called once more while this object is being
    // destroyed.
    ContextWatch(BundleContext const& context, std::function<void()> invalidated);
    ContextWatch(ContextWatch const&) = delete;
    ContextWatch& operator=(ContextWatch const&) = delete;
    ~ContextWatch();

private:
    std::shared_ptr<ContextRecord> record_;
    ContextWatchId id_ = 0;
};

} // namespace cppmicroservices::detail

#endif
