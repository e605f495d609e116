// The framework and the host of the scheduled programs: as little of both as the library touches, with a
// point for the scheduler where a real one would take time.
//
// The provider's handles (Bundle, BundleContext, registrations) and values are the real ones;
// fakeMicroservices.cpp puts the records of this framework behind them.
#ifndef TESTS_RELIABILITY_INTERLEAVING_FAKE_FRAMEWORK_HPP
#define TESTS_RELIABILITY_INTERLEAVING_FAKE_FRAMEWORK_HPP

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/ServiceInterface.h>

#include "agent/spf/frameworklistener/FrameworkListener.hpp"

namespace cppmicroservices::detail {
class ServiceRecord;
}

namespace interleaving {

using agent::spf::frameworklistener::Event;
using agent::spf::frameworklistener::FrameworkListener;

// Fails the run when the library calls it with a lock held. The one that it holds while it starts bundles
// again is excused, also for what an activator does.
class FakeFramework {
public:
    // Has a ConfigurationAdmin. Is not the host's until setFramework().
    FakeFramework();
    FakeFramework(FakeFramework const&) = delete;
    FakeFramework& operator=(FakeFramework const&) = delete;
    ~FakeFramework();

    std::shared_ptr<cppmicroservices::Framework> handle() const { return handle_; }
    // One without an activator; Bundle::Start() counts, and runs `onStart`.
    cppmicroservices::Bundle bundle();

    // Hands the event to every FrameworkListener that is registered.
    void deliver(std::shared_ptr<Event> const& event);
    std::size_t listenerCount() const;

    // Unregisters every service; from then on nothing can be registered.
    void stop();

    // What other people's code does, on the thread of the caller.
    std::function<void()> onStart;
    std::function<void(std::shared_ptr<FrameworkListener> const&)> onRegistered;
    std::function<void(std::shared_ptr<FrameworkListener> const&)> onUnregistering;
    std::function<void(std::string const& name, int modificationCount)> onUpdate;
    std::function<void(std::string const& name)> onRemove;

    // What happened.
    unsigned bundleStarts = 0;
    unsigned registrations = 0;
    unsigned unregistrations = 0;
    unsigned updates = 0;
    unsigned removals = 0;

    // For the handles.
    void startBundle();
    using Service = cppmicroservices::detail::ServiceRecord;
    std::shared_ptr<Service> registerService(cppmicroservices::InterfaceMapConstPtr objects);
    void unregister(Service& service);
    std::vector<std::shared_ptr<Service>> find(std::string const& interfaceID) const;

private:
    class Configuration;
    class ConfigurationAdmin;
    std::vector<std::shared_ptr<FrameworkListener>> listeners() const;

    std::shared_ptr<cppmicroservices::Framework> handle_;
    std::vector<std::shared_ptr<Service>> services_;
    bool stopped_ = false;
};

// The host.
class FakeHost {
public:
    static FakeHost& instance();

    // Back to the beginning, with this framework.
    void reset(FakeFramework& framework);

    FakeFramework* framework = nullptr; // of getFramework(); null when there is none
    // Called for each directory that is being installed: throws or builds in the place of an activator.
    std::function<void()> onInstall;
    unsigned directoriesAsked = 0; // for which installAndStart() was called; each holds one bundle
};

// The directories of one installation.
inline constexpr unsigned directoriesOfAnInstallation = 7;

} // namespace interleaving

#endif
