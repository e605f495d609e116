// A bundle that brings the agent a report from before: as soon as another publisher than the one that the
// environment names is removed, it reports that the version before of the named one is, and then an error of
// the present version, by which a test sees that the report has been read.
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>

#include "agent/spf/frameworklistener/Event.hpp"
#include "agent/spf/frameworklistener/FrameworkListener.hpp"

namespace {

using namespace agent::spf::frameworklistener;

class LateReporter : public FrameworkListener {
public:
    LateReporter(cppmicroservices::BundleContext context, std::string publisher)
        : context_(std::move(context))
        , publisher_(std::move(publisher)) {}

    void handleEvent(std::shared_ptr<Event> event) override {
        if (event->eventType != EventType::FrameworkEvent) {
            return;
        }
        auto const& report = static_cast<FrameworkEvent const&>(*event);
        if (report.kind == FrameworkEvent::Kind::ConfigurationRemoved && report.name != publisher_) {
            auto const count = report.modificationCount;
            deliver(std::make_shared<FrameworkEvent>(report.kind, publisher_, count - 1));
            deliver(std::make_shared<FrameworkErrorEvent>(
                std::make_exception_ptr(std::runtime_error("after the late report")), publisher_, count));
        }
    }

private:
    void deliver(std::shared_ptr<Event> const& event) {
        for (auto const& reference : context_.GetServiceReferences<FrameworkListener>()) {
            if (auto const listener = context_.GetService(reference); listener.get() != this) {
                listener->handleEvent(event);
            }
        }
    }

    cppmicroservices::BundleContext context_;
    std::string const publisher_;
};

class LateReportActivator : public cppmicroservices::BundleActivator {
public:
    void Start(cppmicroservices::BundleContext context) override {
        if (auto const* const publisher = std::getenv("SPF_TEST_LATE_REPORT")) {
            context.RegisterService<FrameworkListener>(std::make_shared<LateReporter>(context, publisher));
        }
    }
    void Stop(cppmicroservices::BundleContext) override {}
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(LateReportActivator)
