// A bundle that brings the agent reports from before: as soon as one publisher is removed it reports that the
// version before of every publisher is, and then an error of the present version, by which a test sees that
// the reports have been read. Without the environment's variable it does nothing.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <set>
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
    explicit LateReporter(cppmicroservices::BundleContext context)
        : context_(std::move(context)) {}

    void handleEvent(std::shared_ptr<Event> event) override {
        if (event->eventType != EventType::FrameworkEvent) {
            return;
        }
        auto const& report = static_cast<FrameworkEvent const&>(*event);
        if (report.kind == FrameworkEvent::Kind::AllServicesPublished) {
            std::lock_guard const lock(mutex_);
            publishers_.insert(report.name);
        } else {
            reportRemovals(report.modificationCount - 1);
            deliver(std::make_shared<FrameworkErrorEvent>(
                std::make_exception_ptr(std::runtime_error("after the late reports")), report.name,
                report.modificationCount));
        }
    }

private:
    void reportRemovals(std::uint32_t count) {
        std::set<std::string> publishers;
        {
            std::lock_guard const lock(mutex_);
            publishers.swap(publishers_); // once
        }
        for (auto const& publisher : publishers) {
            deliver(std::make_shared<FrameworkEvent>(FrameworkEvent::Kind::ConfigurationRemoved, publisher,
                                                     count));
        }
    }

    void deliver(std::shared_ptr<Event> const& event) {
        for (auto const& reference : context_.GetServiceReferences<FrameworkListener>()) {
            if (auto const listener = context_.GetService(reference); listener.get() != this) {
                listener->handleEvent(event);
            }
        }
    }

    cppmicroservices::BundleContext context_;
    std::mutex mutex_;                 // guards publishers_
    std::set<std::string> publishers_; // that have published
};

class LateReportActivator : public cppmicroservices::BundleActivator {
public:
    void Start(cppmicroservices::BundleContext context) override {
        if (std::getenv("SPF_TEST_LATE_REPORT") != nullptr) {
            context.RegisterService<FrameworkListener>(std::make_shared<LateReporter>(context));
        }
    }
    void Stop(cppmicroservices::BundleContext) override {}
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(LateReportActivator)
