// Stands for the framework's publishers.
#include "Publishers.hpp"

#include <exception>
#include <utility>

#include <cppmicroservices/BundleContext.h>

#include "agent/spf/frameworklistener/FrameworkListener.hpp"

namespace stress {

namespace {

using agent::spf::frameworklistener::Event;
using agent::spf::frameworklistener::FrameworkEvent;
using agent::spf::frameworklistener::FrameworkListener;
using agent::spf::frameworklistener::RouterEvent;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using cppmicroservices::Framework;
using cppmicroservices::ref_any_cast;

using Events = std::vector<std::shared_ptr<Event>>;

// What a framework that is being stopped or a listener that has gone has to say is nobody's business.
template <typename Call>
void dropFailure(Call const& call) {
    try {
        call();
    } catch (std::exception const&) {
    }
}

// A listener may go between being found and being called; the others hear of the event all the same.
void deliverOne(Framework const& framework, std::shared_ptr<Event> const& event) {
    auto context = framework.GetBundleContext();
    for (auto const& reference : context.GetServiceReferences<FrameworkListener>()) {
        dropFailure([&] {
            if (auto const listener = context.GetService(reference)) {
                listener->handleEvent(event);
            }
        });
    }
}

void deliver(std::weak_ptr<Framework> const& target, Events const& events) {
    auto const framework = target.lock();
    if (!framework) {
        return;
    }
    for (auto const& event : events) {
        dropFailure([&] { deliverOne(*framework, event); });
    }
}

Events eventsOfPublication(AnyMap const& publisher, std::uint32_t modificationCount) {
    auto const& id = ref_any_cast<std::string>(publisher.at("uniqueID"));
    auto const& config = ref_any_cast<AnyMap>(publisher.at("config"));
    Events events;
    for (auto const& endpoint : ref_any_cast<std::vector<Any>>(config.at("endpointsToBindTo"))) {
        events.push_back(
            std::make_shared<RouterEvent>(RouterEvent::Kind::Bound, endpoint, id, modificationCount));
    }
    events.push_back(
        std::make_shared<FrameworkEvent>(FrameworkEvent::Kind::AllServicesPublished, id, modificationCount));
    return events;
}

} // namespace

Worker::Worker()
    : thread_([this] { run(); }) {}

Worker::~Worker() {
    {
        std::lock_guard<std::mutex> const lock(mutex_);
        ending_ = true;
    }
    posted_.notify_one();
    thread_.join();
}

void Worker::post(std::function<void()> work) {
    {
        std::lock_guard<std::mutex> const lock(mutex_);
        work_.push_back(std::move(work));
    }
    posted_.notify_one();
}

void Worker::run() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (true) {
        posted_.wait(lock, [this] { return ending_ || !work_.empty(); });
        if (work_.empty()) {
            return;
        }
        auto const work = std::move(work_.front());
        work_.pop_front();
        lock.unlock();
        work();
        lock.lock();
    }
}

Publishers::Publishers(std::shared_ptr<Framework> const& framework,
                       std::shared_ptr<std::array<Worker, publisherCount>> workers)
    : framework_(framework)
    , workers_(std::move(workers)) {}

void Publishers::provide(std::shared_ptr<Framework> const& framework,
                         std::shared_ptr<std::array<Worker, publisherCount>> workers) {
    std::shared_ptr<ManagedServiceFactory> const factory(new Publishers(framework, std::move(workers)));
    static_cast<void>(framework->GetBundleContext().RegisterService<ManagedServiceFactory>(
        factory, {{"service.pid", Any(std::string("qo.spf.framework"))}}));
}

void Publishers::Updated(std::string const& pid, AnyMap const& properties) {
    auto const count = static_cast<std::uint32_t>(ref_any_cast<int>(properties.at("modificationCount")));
    Published published = {{}, count};
    std::size_t worker = 0;
    for (auto const& element :
         ref_any_cast<std::vector<Any>>(properties.at("servicePublisherConfigurations"))) {
        auto const& publisher = ref_any_cast<AnyMap>(element);
        published.publisherIDs.push_back(ref_any_cast<std::string>(publisher.at("uniqueID")));
        (*workers_)[worker++ % publisherCount].post(
            [target = framework_, events = eventsOfPublication(publisher, count)] {
                deliver(target, events);
            });
    }
    std::lock_guard<std::mutex> const lock(mutex_);
    published_[pid] = std::move(published);
}

void Publishers::Removed(std::string const& pid) {
    Published removed = {};
    {
        std::lock_guard<std::mutex> const lock(mutex_);
        auto const found = published_.find(pid);
        if (found == published_.end()) {
            return;
        }
        removed = std::move(found->second);
        published_.erase(found);
    }
    std::size_t worker = 0;
    for (auto const& id : removed.publisherIDs) {
        auto const event = std::make_shared<FrameworkEvent>(FrameworkEvent::Kind::ConfigurationRemoved, id,
                                                            removed.modificationCount);
        (*workers_)[worker++ % publisherCount].post(
            [target = framework_, event] { deliver(target, {event}); });
    }
}

} // namespace stress
