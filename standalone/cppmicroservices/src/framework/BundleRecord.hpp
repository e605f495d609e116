// An installed bundle: what it is, and its way through its states.
#ifndef CPPMICROSERVICES_SRC_FRAMEWORK_BUNDLERECORD_HPP
#define CPPMICROSERVICES_SRC_FRAMEWORK_BUNDLERECORD_HPP

#include "BundleLibrary.hpp"
#include "Manifest.hpp"
#include "cppmicroservices/Bundle.h"

#include <atomic>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <string>

namespace cppmicroservices::detail {

class ContextRecord;
class FrameworkCore;

// Thread safe. Activators and listeners are called with no lock held, but with the right to change the
// bundle (see BundleChanges).
class BundleRecord : public std::enable_shared_from_this<BundleRecord> {
public:
    // `path` is where `location` leads.
    BundleRecord(std::weak_ptr<FrameworkCore> core, long id, std::string location, std::string path,
                 Manifest manifest);
    BundleRecord(BundleRecord const&) = delete;
    BundleRecord& operator=(BundleRecord const&) = delete;
    virtual ~BundleRecord();

    long id() const noexcept { return id_; }
    std::string const& location() const noexcept { return location_; }
    std::string const& symbolicName() const noexcept { return manifest_.symbolicName; }
    BundleVersion const& version() const noexcept { return manifest_.version; }
    AnyMap const& headers() const noexcept { return manifest_.headers; }
    // Empty once the framework is gone.
    std::shared_ptr<FrameworkCore> core() const { return core_.lock(); }
    // "Bundle NAME (location=LOCATION)", as messages begin.
    std::string description() const;

    Bundle::State state() const noexcept { return state_.load(); }
    // Whether the bundle is starting, active or stopping, or a thread is about to start it.
    bool mayRun() const noexcept;
    Bundle::TimeStamp lastModified() const;
    // Null unless the bundle is starting, active or stopping.
    std::shared_ptr<ContextRecord> context() const;
    // Whether the framework is to start the bundle when it starts.
    bool autoStart() const noexcept { return autoStart_.load(std::memory_order_acquire); }

    virtual void start(FrameworkCore& core, std::uint32_t options);
    virtual void stop(FrameworkCore& core, std::uint32_t options);
    virtual void uninstall(FrameworkCore& core);

    // Stops the bundle because its framework stops.
    void stopForFramework(FrameworkCore& core);
    // Ends the bundle's time with its framework, which has stopped. It can never be started again.
    void abandon();

protected:
    // Makes the bundle's context, and takes it away together with all that was done with it.
    void openContext(FrameworkCore& core);
    void closeContext(FrameworkCore& core);
    // What the bundle has registered is unregistered when it stops.
    virtual void unregisterServices(FrameworkCore& core);
    void setState(Bundle::State state) noexcept { state_.store(state); }

private:
    void startWithRight(FrameworkCore& core);
    void resolve(FrameworkCore& core);
    void activate(FrameworkCore& core);
    void warnOfBadActivatorHeader(FrameworkCore& core);
    void callStart(FrameworkCore& core);
    void rollBack(FrameworkCore& core);
    // What the activator threw, or null.
    std::exception_ptr deactivate(FrameworkCore& core);
    void takeBackAll(FrameworkCore& core, ContextRecord const& context);
    void rethrowStopFailure(std::exception_ptr const& error) const;
    void requireInstalled() const;
    [[noreturn]] void throwStoppedFramework() const;

    long const id_;
    std::string const location_;
    std::string const path_;
    Manifest const manifest_;
    std::weak_ptr<FrameworkCore> const core_;

    // The order in which these and FrameworkCore::startsBundles() are written and read decides whether a
    // bundle that starts while the framework stops sees that, or is seen by it; so it is the strongest one.
    std::atomic<Bundle::State> state_{Bundle::STATE_INSTALLED};
    std::atomic<bool> aboutToStart_{false};
    std::atomic<bool> autoStart_{false};
    std::atomic<bool> abandoned_{false};

    // Used only with the right to change the bundle.
    std::unique_ptr<BundleLibrary> library_;
    BundleLibrary::ActivatorPointer activator_{nullptr, nullptr};

    mutable std::mutex mutex_; // guards what follows
    std::shared_ptr<ContextRecord> context_;
    Bundle::TimeStamp lastModified_ = std::chrono::steady_clock::now();
};

// What the exception says, or "unknown".
std::string textOf(std::exception_ptr const& error);

} // namespace cppmicroservices::detail

#endif
