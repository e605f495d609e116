// One framework: its bundles, its services, its listeners, its life cycle.
#ifndef CPPMICROSERVICES_SRC_FRAMEWORK_FRAMEWORKCORE_HPP
#define CPPMICROSERVICES_SRC_FRAMEWORK_FRAMEWORKCORE_HPP

#include "BundleChanges.hpp"
#include "BundleRecord.hpp"
#include "BundleTable.hpp"
#include "EventListeners.hpp"
#include "ServiceListeners.hpp"
#include "ServiceRegistry.hpp"
#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/BundleEvent.h"
#include "cppmicroservices/FrameworkEvent.h"
#include "cppmicroservices/FrameworkFactory.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <iosfwd>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace cppmicroservices::detail {

// The bundle that stands for the framework.
class SystemBundleRecord : public BundleRecord {
public:
    explicit SystemBundleRecord(std::weak_ptr<FrameworkCore> core);

    void start(FrameworkCore& core, std::uint32_t options) override;
    void stop(FrameworkCore& core, std::uint32_t options) override;
    void uninstall(FrameworkCore& core) override;

protected:
    // Leaves the services registered: the host that stops its framework unregisters them itself, before or
    // after.
    void unregisterServices(FrameworkCore&) override {}

private:
    friend class FrameworkCore;
};

// Thread safe. No lock is held while activators, listeners and factories run.
class FrameworkCore : public std::enable_shared_from_this<FrameworkCore> {
public:
    // A framework that stops, and is waited for, when the last copy of the pointer is gone; see handle().
    static std::shared_ptr<FrameworkCore> make(FrameworkConfiguration const& configuration,
                                               std::ostream* logger);

    FrameworkCore(FrameworkConfiguration const& configuration, std::ostream* logger);
    FrameworkCore(FrameworkCore const&) = delete;
    FrameworkCore& operator=(FrameworkCore const&) = delete;

    // What public handles hold. While the last handle is being destroyed: a pointer without its effect.
    std::shared_ptr<FrameworkCore> handle();

    // Frameworks of one process are numbered in the order of their making.
    std::uint64_t number() const noexcept { return number_; }

    void init();
    void start();
    // Begins to stop; returns at once.
    void stop();
    FrameworkEvent waitForStop(std::chrono::milliseconds const& timeout);
    // Whether bundles may be started now: not any more once a stop has come to the bundles, and not yet by a
    // framework that has stopped and is only initialised again.
    bool startsBundles() const noexcept { return startsBundles_.load(); }

    std::shared_ptr<SystemBundleRecord> const& systemBundle() const noexcept { return system_; }
    BundleTable& bundles() noexcept { return bundles_; }
    BundleChanges& changes() noexcept { return changes_; }
    ServiceRegistry& services() noexcept { return services_; }
    ServiceListeners& serviceListeners() noexcept { return serviceListeners_; }
    EventListeners<BundleEvent>& bundleListeners() noexcept { return bundleListeners_; }
    EventListeners<FrameworkEvent>& frameworkListeners() noexcept { return frameworkListeners_; }
    void removeListenersOf(ContextRecord const& context);

    // Deliver the event to the listeners, in the middle of changes that must not end half done. Bundle events
    // take no memory; a report for which there is none is dropped.
    void fire(BundleEvent::Type type, std::shared_ptr<BundleRecord> const& bundle) noexcept;
    void report(FrameworkEvent::Type type, std::shared_ptr<BundleRecord> const& bundle,
                std::string_view message, std::exception_ptr error = nullptr) noexcept;
    // Writes a line to the log, if the configuration asks for one.
    void log(std::string_view line);

    AnyMap properties() const;
    Any property(std::string const& key) const;
    int libraryLoadOptions() const;
    // A relative path starts from the framework's working directory.
    std::string absolutePath(std::string const& path) const;

    // The path of a file among those that the bundle keeps, in a directory which comes into being with the
    // first such path. Empty for the framework's own bundle, and if the framework has no storage.
    // \throws std::invalid_argument if the directory cannot be made
    std::string dataFile(BundleRecord const& bundle, std::string const& name) const;
    void removeDataFiles(BundleRecord const& bundle) const;

private:
    class Handle;

    void initWithRight();
    void startMarkedBundles();
    void stopNow();
    // In the reverse order of the table.
    void stopBundles();
    bool running() const noexcept;
    void shutDown() noexcept;
    std::string dataDirectory(BundleRecord const& bundle) const;
    void joinStopper();
    // While an exception of a listener of that context is handled.
    void logFailureOfListener(ContextRecord const& context) noexcept;

    std::uint64_t const number_;
    std::ostream& logStream_;
    std::weak_ptr<Handle> handle_;               // constant once made
    std::shared_ptr<SystemBundleRecord> system_; // constant once made

    BundleTable bundles_;
    BundleChanges changes_;
    ServiceListeners serviceListeners_;
    ServiceRegistry services_{serviceListeners_};
    EventListeners<BundleEvent> bundleListeners_;
    EventListeners<FrameworkEvent> frameworkListeners_;
    std::atomic<bool> startsBundles_{true}; // until the first stop, and from each later start to the next

    mutable std::mutex mutex_; // guards what follows
    AnyMap properties_;
    std::thread stopper_;
    bool stopRequested_ = false; // whether stopper_ has a stop before it
    std::uint64_t stops_ = 0;    // how often the framework has stopped
    std::condition_variable stopped_;
};

} // namespace cppmicroservices::detail

#endif
