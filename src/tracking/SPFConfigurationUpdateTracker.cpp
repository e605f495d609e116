// Registers the listener of a configuration, unregisters it when all is complete, and forwards the waits.
#include "agent/spf/frameworksetup/SPFConfigurationUpdateTracker.hpp"

#include <atomic>
#include <stdexcept>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/ServiceRegistration.h>

#include "agent/host/FrameworkAccess.hpp"
#include "agent/spf/frameworksetup/FrameworkSetupListener.hpp"

namespace agent::spf::frameworksetup {

namespace {

using cppmicroservices::Any;

// Numbers the listeners of this process, so that what is left of an old one, its registration or a late
// completion, is told from what belongs to a newer one.
std::atomic<std::uint64_t> lastListener{0};

// Runs a clean-up at the end of a scope, however it is left.
template <typename CleanUp>
class AtScopeExit {
public:
    explicit AtScopeExit(CleanUp run)
        : cleanUp(std::move(run)) {}
    AtScopeExit(AtScopeExit const&) = delete;
    AtScopeExit& operator=(AtScopeExit const&) = delete;
    ~AtScopeExit() { cleanUp(); }

private:
    CleanUp cleanUp;
};

} // namespace

std::shared_ptr<SPFConfigurationUpdateTracker>
SPFConfigurationUpdateTracker::create(cppmicroservices::AnyMap const& configuration) {
    auto tracker = std::make_shared<SPFConfigurationUpdateTracker>();
    tracker->enable(configuration);
    return tracker;
}

SPFConfigurationUpdateTracker::SPFConfigurationUpdateTracker()
    : registration(cppmicroservices::ServiceRegistrationU()) {}

SPFConfigurationUpdateTracker::~SPFConfigurationUpdateTracker() {
    try {
        disable();
    } catch (...) {
        // A destructor has nobody to tell; the framework drops the registration when it stops.
    }
}

void SPFConfigurationUpdateTracker::enable(cppmicroservices::AnyMap const& configuration) {
    auto const self = shared_from_this(); // foreign code may drop the last reference to the tracker
    auto const number = ++lastListener;
    // The listener must not keep its owner alive, hence the weak reference.
    auto made = std::make_shared<FrameworkSetupListener>(
        [owner = weak_from_this(), number] {
            if (auto const tracker = owner.lock()) {
                tracker->unregisterAfterCompletion(number);
            }
        },
        configuration);

    try {
        disable();
    } catch (std::logic_error const&) {
        // What was registered has ended already, as with its framework: nothing is left to replace.
    }
    std::shared_ptr<FrameworkSetupListener> replaced; // released without the lock
    auto lock = lockWhenSettled();
    replaced = std::atomic_exchange(&listener, std::move(made));
    currentListener = number;
    completingListener = number;
    registrationWanted = true;
    settleWithLock(lock);
}

void SPFConfigurationUpdateTracker::disable() {
    auto const self = weak_from_this().lock(); // as in enable(); null in the destructor
    auto lock = lockWhenSettled();
    registrationWanted = false;
    settleWithLock(lock);
}

void SPFConfigurationUpdateTracker::registerListenerForUnpublishing() {
    auto const self = weak_from_this().lock(); // as in enable()
    enabledListener()->disableUnregistering();
    auto lock = lockWhenSettled();
    // A completion that passed the listener's check before it was disabled finds here that it comes too late.
    completingListener = 0;
    registrationWanted = true;
    settleWithLock(lock);
}

void SPFConfigurationUpdateTracker::unregisterAfterCompletion(std::uint64_t completedListener) {
    std::unique_lock<std::mutex> lock(mutex);
    if (completingListener == completedListener) {
        registrationWanted = false;
        settleWithLock(lock);
    }
}

// The state of `registration` is settled by one thread at a time: the thread that finds it other than wanted
// registers or unregisters, without the mutex because foreign code runs, and looks again afterwards. So a
// completion that is reported meanwhile, from inside that foreign code or by another thread, need not wait:
// it says what it wants and goes. The other operations wait until no other thread is settling, so that what
// they promise holds when they return.

std::unique_lock<std::mutex> SPFConfigurationUpdateTracker::lockWhenSettled() {
    std::unique_lock<std::mutex> lock(mutex);
    settled.wait(lock, [this] {
        return settlingThread == std::thread::id() || settlingThread == std::this_thread::get_id();
    });
    return lock;
}

void SPFConfigurationUpdateTracker::settleWithLock(std::unique_lock<std::mutex>& lock) {
    if (settlingThread != std::thread::id()) {
        return;
    }
    settlingThread = std::this_thread::get_id();
    AtScopeExit const done([&] {
        if (!lock.owns_lock()) {
            lock.lock();
        }
        settlingThread = std::thread::id();
        lock.unlock();
        settled.notify_all();
    });
    while (!isSettledWithLock()) {
        registration ? unregisterListenerWithLock(lock) : registerListenerWithLock(lock);
    }
}

bool SPFConfigurationUpdateTracker::isSettledWithLock() const {
    return registration ? registrationWanted && registeredListener == currentListener : !registrationWanted;
}

void SPFConfigurationUpdateTracker::registerListenerWithLock(std::unique_lock<std::mutex>& lock) {
    auto const current = enabledListener();
    auto const number = currentListener;
    lock.unlock();
    auto const framework = host::getFramework();
    if (!framework) {
        lock.lock();
        registrationWanted = false;
        return;
    }
    cppmicroservices::ServiceRegistrationBase registered =
        framework->GetBundleContext().RegisterService<frameworklistener::FrameworkListener>(current);
    lock.lock();
    registration = std::move(registered);
    registeredListener = number;
}

void SPFConfigurationUpdateTracker::unregisterListenerWithLock(std::unique_lock<std::mutex>& lock) {
    auto registered = registration;
    lock.unlock();
    try {
        registered.Unregister();
    } catch (std::logic_error const&) { // it has ended already: there will never be anything to unregister
        lock.lock();
        registration = nullptr;
        throw;
    }
    lock.lock();
    registration = nullptr;
}

bool SPFConfigurationUpdateTracker::waitForAllEndpoints(std::chrono::milliseconds const& timeout,
                                                        std::string const& servicePublisherID) {
    return enabledListener()->waitForAllEndpoints(timeout, servicePublisherID);
}

bool SPFConfigurationUpdateTracker::waitForAllServices(std::chrono::milliseconds const& timeout,
                                                       std::string const& servicePublisherID) {
    return enabledListener()->waitForAllServices(timeout, servicePublisherID);
}

bool SPFConfigurationUpdateTracker::waitForAllServicesToBeUnpublished(
    std::chrono::milliseconds const& timeout, std::string const& servicePublisherID) {
    auto const self = weak_from_this().lock();
    auto const removed = enabledListener()->waitForAllServicesToBeUnpublished(timeout, servicePublisherID);
    disable();
    return removed;
}

std::pair<std::vector<Any>, std::vector<Any>>
SPFConfigurationUpdateTracker::listOutstandingEndpoints(std::string const& servicePublisherID) {
    return enabledListener()->listOutstandingEndpoints(servicePublisherID);
}

std::shared_ptr<FrameworkSetupListener> SPFConfigurationUpdateTracker::enabledListener() const {
    auto enabled = std::atomic_load(&listener);
    if (!enabled) {
        throw std::logic_error("SPFConfigurationUpdateTracker: enable() has not been called");
    }
    return enabled;
}

} // namespace agent::spf::frameworksetup
