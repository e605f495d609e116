// A bundle that starts or stops, or lets the framework go on after the first publisher that is removed, only
// when a test lets it: it waits until somebody opens the named pipe that the environment names. Without the
// variables it does nothing.
#include <atomic>
#include <cstdlib>
#include <memory>

#include <fcntl.h>
#include <unistd.h>

#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>

#include "agent/spf/frameworklistener/Event.hpp"
#include "agent/spf/frameworklistener/FrameworkListener.hpp"

namespace {

using namespace agent::spf::frameworklistener;

void passThrough(char const* variable) {
    if (auto const* const pipe = std::getenv(variable)) {
        close(open(pipe, O_RDONLY | O_CLOEXEC)); // returns when there is a writer
    }
}

class RemovalGate : public FrameworkListener {
public:
    void handleEvent(std::shared_ptr<Event> event) override {
        if (event->eventType == EventType::FrameworkEvent &&
            static_cast<FrameworkEvent const&>(*event).kind == FrameworkEvent::Kind::ConfigurationRemoved &&
            !hasPassed_.exchange(true)) {
            passThrough("SPF_TEST_REMOVAL_GATE");
        }
    }

private:
    std::atomic<bool> hasPassed_{false};
};

class GateActivator : public cppmicroservices::BundleActivator {
public:
    void Start(cppmicroservices::BundleContext context) override {
        context.RegisterService<FrameworkListener>(std::make_shared<RemovalGate>());
        passThrough("SPF_TEST_START_GATE");
    }
    void Stop(cppmicroservices::BundleContext) override { passThrough("SPF_TEST_STOP_GATE"); }
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(GateActivator)
