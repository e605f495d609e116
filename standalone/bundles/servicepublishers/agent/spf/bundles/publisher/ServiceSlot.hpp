// The one service of a kind that a bundle uses, however many there are and whenever they come and go.
#ifndef AGENT_SPF_BUNDLES_PUBLISHER_SERVICE_SLOT_HPP
#define AGENT_SPF_BUNDLES_PUBLISHER_SERVICE_SLOT_HPP

#include <algorithm>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceTracker.h>

#include "agent/spf/bundles/common/ServiceAccess.hpp"
#include "agent/spf/bundles/common/WorkerThread.hpp"
#include "agent/spf/bundles/common/persistently.hpp"

namespace agent::spf::bundles::publisher {

template <class Service>
class ServiceSlot : private cppmicroservices::ServiceTrackerCustomizer<Service> {
public:
    // Called on the worker with the service to use from now on, or with null when there is none. Once it has
    // returned nobody may use the service before.
    using Changed = std::function<void(std::shared_ptr<Service> const& service)>;

    ServiceSlot(cppmicroservices::BundleContext const& context, std::shared_ptr<WorkerThread> worker,
                Changed changed)
        : context_(context)
        , worker_(std::move(worker))
        , changed_(std::move(changed))
        , tracker_(context, this) {}

    // From now on there are tasks on the worker that refer to the slot, until it is closed and the worker has
    // stopped.
    void open() { tracker_.Open(); }
    void close() { tracker_.Close(); }

private:
    using Reference = cppmicroservices::ServiceReference<Service>;

    std::shared_ptr<Service> AddingService(Reference const& reference) override {
        auto service = serviceOrNull(context_, reference);
        if (service) {
            worker_->post([this, service] {
                persistently([&] { services_.push_back(service); });
                choose();
            });
        }
        return service;
    }

    void ModifiedService(Reference const&, std::shared_ptr<Service> const&) override {}

    // Waits if it may, so that the service is out of use when its bundle goes on to stop.
    void RemovedService(Reference const&, std::shared_ptr<Service> const& service) override {
        if (worker_->isCurrentThread() || worker_->mayBeAwaited()) {
            worker_->run([this, &service] { remove(service); });
        } else {
            worker_->post([this, service] { remove(service); });
        }
    }

    void remove(std::shared_ptr<Service> const& service) {
        services_.erase(std::remove(services_.begin(), services_.end(), service), services_.end());
        choose();
    }

    void choose() {
        auto const first = services_.empty() ? nullptr : services_.front();
        if (first != chosen_) {
            chosen_ = first;
            changed_(chosen_);
        }
    }

    cppmicroservices::BundleContext context_;
    std::shared_ptr<WorkerThread> const worker_;
    Changed const changed_;
    std::vector<std::shared_ptr<Service>> services_; // in the order of their coming; used on the worker only
    std::shared_ptr<Service> chosen_;                // used on the worker only
    cppmicroservices::ServiceTracker<Service> tracker_;
};

} // namespace agent::spf::bundles::publisher

#endif
