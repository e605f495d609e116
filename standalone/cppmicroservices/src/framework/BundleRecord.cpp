// An installed bundle: what it is, and its way through its states.
#include "BundleRecord.hpp"

#include "Access.hpp"
#include "ContextRecord.hpp"
#include "FrameworkCore.hpp"
#include "cppmicroservices/BundleEvent.h"
#include "cppmicroservices/Constants.h"
#include "cppmicroservices/FrameworkEvent.h"
#include "cppmicroservices/SharedLibraryException.h"
#include "cppmicroservices/detail/BundleContextSlot.h"

// The activator's interface is declared for bundles, which have a name; the framework itself calls it.
#define US_BUNDLE_NAME system_bundle
#include "cppmicroservices/BundleActivator.h"

#include <stdexcept>
#include <system_error>
#include <typeinfo>
#include <utility>

namespace cppmicroservices::detail {

BundleRecord::BundleRecord(std::weak_ptr<FrameworkCore> core, long id, std::string location, std::string path,
                           Manifest manifest)
    : id_(id)
    , location_(std::move(location))
    , path_(std::move(path))
    , manifest_(std::move(manifest))
    , core_(std::move(core)) {}

BundleRecord::~BundleRecord() = default;

std::string BundleRecord::description() const {
    return "Bundle " + symbolicName() + " (location=" + location_ + ")";
}

Bundle::TimeStamp BundleRecord::lastModified() const {
    std::lock_guard const lock(mutex_);
    return lastModified_;
}

std::shared_ptr<ContextRecord> BundleRecord::context() const {
    std::lock_guard const lock(mutex_);
    return context_;
}

void BundleRecord::start(FrameworkCore& core, std::uint32_t options) {
    BundleChanges::Right const right(core.changes(), *this);
    if (!core.startsBundles()) {
        throwStoppedFramework();
    }
    requireInstalled();
    if (state() == Bundle::STATE_ACTIVE) {
        return;
    }
    if ((options & Bundle::START_TRANSIENT) == 0) {
        autoStart_.store(true, std::memory_order_release);
    }
    aboutToStart_.store(true);
    try {
        startWithRight(core);
    } catch (...) {
        aboutToStart_.store(false);
        throw;
    }
    aboutToStart_.store(false);
}

void BundleRecord::startWithRight(FrameworkCore& core) {
    // A framework that begins to stop after the first question finds mayRun() true, and waits for the right
    // to stop this. One that has stopped and started before it has abandoned this, as the second one tells.
    if (!core.startsBundles() || abandoned_.load(std::memory_order_acquire)) {
        throwStoppedFramework();
    }
    resolve(core);
    activate(core);
}

bool BundleRecord::mayRun() const noexcept {
    return aboutToStart_.load() ||
           (state() & (Bundle::STATE_STARTING | Bundle::STATE_ACTIVE | Bundle::STATE_STOPPING)) != 0;
}

void BundleRecord::stop(FrameworkCore& core, std::uint32_t options) {
    BundleChanges::Right const right(core.changes(), *this);
    requireInstalled();
    if ((options & Bundle::STOP_TRANSIENT) == 0) {
        autoStart_.store(false, std::memory_order_release);
    }
    if (state() == Bundle::STATE_ACTIVE) {
        rethrowStopFailure(deactivate(core));
    }
}

void BundleRecord::stopForFramework(FrameworkCore& core) {
    BundleChanges::Right const right(core.changes(), *this);
    if (state() == Bundle::STATE_ACTIVE) {
        rethrowStopFailure(deactivate(core));
    }
}

void BundleRecord::uninstall(FrameworkCore& core) {
    BundleChanges::Right const right(core.changes(), *this);
    if (state() == Bundle::STATE_UNINSTALLED) {
        throw std::logic_error(description() + " is in BUNDLE_UNINSTALLED state");
    }
    auto const self = shared_from_this();
    if (state() == Bundle::STATE_ACTIVE) {
        try {
            rethrowStopFailure(deactivate(core));
        } catch (...) {
            core.report(FrameworkEvent::FRAMEWORK_ERROR, self, {}, std::current_exception());
        }
    }
    setState(Bundle::STATE_INSTALLED);
    core.fire(BundleEvent::BUNDLE_UNRESOLVED, self);
    core.bundles().remove(*this);
    core.removeDataFiles(*this);
    setState(Bundle::STATE_UNINSTALLED);
    {
        std::lock_guard const lock(mutex_);
        lastModified_ = std::chrono::steady_clock::now();
    }
    core.fire(BundleEvent::BUNDLE_UNINSTALLED, self);
}

void BundleRecord::abandon() {
    abandoned_.store(true, std::memory_order_release);
    setState(Bundle::STATE_INSTALLED);
}

void BundleRecord::resolve(FrameworkCore& core) {
    if (state() == Bundle::STATE_INSTALLED) {
        setState(Bundle::STATE_RESOLVED);
        core.fire(BundleEvent::BUNDLE_RESOLVED, shared_from_this());
    }
}

void BundleRecord::activate(FrameworkCore& core) {
    openContext(core);
    setState(Bundle::STATE_STARTING);
    core.fire(BundleEvent::BUNDLE_STARTING, shared_from_this());
    try {
        warnOfBadActivatorHeader(core);
        if (manifest_.hasActivator) {
            callStart(core);
        }
    } catch (std::system_error const& error) { // from the loader, or the activator
        rollBack(core);
        throw SharedLibraryException(error.code(), error.what(), Access::bundle(shared_from_this(), core));
    } catch (...) {
        rollBack(core); // before anything that takes memory
        throw std::runtime_error("Bundle " + symbolicName() + " (location= " + location_ +
                                 ") start failed: " + textOf(std::current_exception()));
    }
    setState(Bundle::STATE_ACTIVE);
    core.fire(BundleEvent::BUNDLE_STARTED, shared_from_this());
}

void BundleRecord::warnOfBadActivatorHeader(FrameworkCore& core) {
    auto const header = headers().find(Constants::BUNDLE_ACTIVATOR);
    if (header == headers().end() || header->second.Empty()) {
        return;
    }
    try {
        (void)any_cast<bool>(header->second);
    } catch (BadAnyCastException const&) {
        core.report(FrameworkEvent::FRAMEWORK_WARNING, shared_from_this(),
                    "Failed to read '" + Constants::BUNDLE_ACTIVATOR + "' property. Expected type : " +
                        typeid(bool).name() + ", Found type : " + header->second.Type().name(),
                    std::current_exception());
    }
}

void BundleRecord::callStart(FrameworkCore& core) {
    if (!library_) {
        library_ = std::make_unique<BundleLibrary>(path_, symbolicName(), core.libraryLoadOptions());
    }
    auto const context = this->context();
    if (auto* const slot = library_->contextSlot()) {
        slot->store(context);
    }
    activator_ = library_->makeActivator();
    if (!activator_) {
        throw std::runtime_error(description() + " activator constructor not found");
    }
    activator_->Start(Access::context(context));
}

void BundleRecord::rollBack(FrameworkCore& core) {
    setState(Bundle::STATE_STOPPING);
    core.fire(BundleEvent::BUNDLE_STOPPING, shared_from_this());
    activator_.reset();
    closeContext(core);
    setState(Bundle::STATE_RESOLVED);
    core.fire(BundleEvent::BUNDLE_STOPPED, shared_from_this());
}

std::exception_ptr BundleRecord::deactivate(FrameworkCore& core) {
    setState(Bundle::STATE_STOPPING);
    core.fire(BundleEvent::BUNDLE_STOPPING, shared_from_this());
    std::exception_ptr error;
    if (activator_) {
        try {
            activator_->Stop(Access::context(context()));
        } catch (...) {
            error = std::current_exception();
        }
        activator_.reset();
    }
    closeContext(core);
    setState(Bundle::STATE_RESOLVED);
    core.fire(BundleEvent::BUNDLE_STOPPED, shared_from_this());
    return error;
}

void BundleRecord::rethrowStopFailure(std::exception_ptr const& error) const {
    if (error) {
        throw std::runtime_error(description() + ", BundleActivator::Stop() failed: " + textOf(error));
    }
}

void BundleRecord::openContext(FrameworkCore& core) {
    auto context = std::make_shared<ContextRecord>(shared_from_this(), core.weak_from_this());
    std::lock_guard const lock(mutex_);
    context_ = std::move(context);
}

void BundleRecord::closeContext(FrameworkCore& core) {
    auto const context = this->context();
    // While the context is valid, so that those who are told can still use it; then once more for what was
    // added meanwhile.
    takeBackAll(core, *context);
    context->invalidate();
    takeBackAll(core, *context);
    if (auto* const slot = library_ ? library_->contextSlot() : nullptr) {
        slot->store(nullptr);
    }
    {
        std::lock_guard const lock(mutex_);
        context_.reset();
    }
    context->notifyWatchers();
}

void BundleRecord::takeBackAll(FrameworkCore& core, ContextRecord const& context) {
    core.removeListenersOf(context); // the bundle does not hear of the end of its own services
    unregisterServices(core);
    core.services().releaseAllOf(*this);
}

void BundleRecord::unregisterServices(FrameworkCore& core) {
    core.services().unregisterAllOf(*this);
}

void BundleRecord::throwStoppedFramework() const {
    throw std::runtime_error(description() + " belongs to a stopped framework");
}

void BundleRecord::requireInstalled() const {
    if (state() == Bundle::STATE_UNINSTALLED) {
        throw std::logic_error(description() + " is uninstalled");
    }
}

std::string textOf(std::exception_ptr const& error) {
    try {
        std::rethrow_exception(error);
    } catch (std::exception const& exception) {
        return exception.what();
    } catch (...) {
        return "unknown";
    }
}

} // namespace cppmicroservices::detail
