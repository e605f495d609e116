// The connection with the registry, and the publishers by PID.
#include "agent/spf/bundles/publisher/PublisherBundle.hpp"

#include <map>
#include <stdexcept>
#include <utility>

#include <unistd.h>

#include <boost/asio/ip/host_name.hpp>

#include "agent/spf/bundles/ConfigurationKeys.hpp"
#include "agent/spf/bundles/WithdrawalListener.hpp"
#include "agent/spf/bundles/common/FactoryService.hpp"
#include "agent/spf/bundles/common/Properties.hpp"
#include "agent/spf/bundles/common/persistently.hpp"
#include "agent/spf/bundles/publisher/Publisher.hpp"
#include "agent/spf/bundles/publisher/PublisherConfiguration.hpp"
#include "agent/spf/bundles/publisher/ServiceSlot.hpp"

namespace agent::spf::bundles::publisher {

using cppmicroservices::AnyMap;
using cppmicroservices::BundleContext;

namespace {

std::string agentIdentity(BundleContext const& context) {
    auto const property = context.GetProperty(agentProperty);
    if (property.Type() == typeid(std::string)) {
        return cppmicroservices::any_cast<std::string>(property);
    }
    boost::system::error_code ignored;
    return boost::asio::ip::host_name(ignored) + "/" + std::to_string(::getpid());
}

// The modification count of a configuration that may be wrong in any way.
std::uint32_t modificationCountOrZero(AnyMap const& properties) {
    try {
        return static_cast<std::uint32_t>(intAt(properties, keys::modificationCount, {}));
    } catch (std::runtime_error const&) {
        return 0;
    }
}

} // namespace

class PublisherBundle::Impl {
public:
    Impl(BundleContext const& context, Naming naming)
        : worker_(std::make_shared<WorkerThread>(naming == Naming::Addresses ? "spf-rpc" : "spf-legacy"))
        , reporter_(context, worker_, [this](auto const& listener) { tellStatus(*listener); })
        , context_{worker_, context, reporter_, agentIdentity(context), naming}
        , withdrawals_(context)
        , serialisers_(context, worker_, [this](auto const& service) { use(context_.serialiser, service); })
        , providers_(context, worker_, [this](auto const& service) { use(context_.provider, service); })
        , discoveries_(context, worker_, [this](auto const& service) { use(context_.discovery, service); })
        , factory_(std::make_shared<FactoryService>(
              worker_, [this](auto const& pid, auto const& properties) { updated(pid, properties); },
              [this](auto const& pid) { removed(pid); })) {
        worker_->prepareForTimersAndSockets();
    }

    // The tasks that this brings about refer to the object, which must be whole to end them.
    void start(BundleContext const& context, std::string const& factoryPID) {
        withdrawals_.Open();
        reporter_.open();
        serialisers_.open();
        providers_.open();
        discoveries_.open();
        registration_ = registerFactory(context, factory_, factoryPID);
    }

    ~Impl() { stop(); }

    // Idempotent. A listener that a publisher calls may bring it about in the middle of a task, which then
    // goes on, as do those that were posted before: `self` is kept until they have run.
    void stop(std::shared_ptr<Impl> const& self = nullptr) {
        if (worker_->isCurrentThread() || worker_->mayBeAwaited()) {
            worker_->run([this] { stopPublishing(); });
        } else {
            worker_->post([this] { stopPublishing(); });
        }
        if (registration_) { // not if the start has failed before
            std::exchange(registration_, {}).Unregister();
        }
        reporter_.close();
        if (worker_->mayBeAwaited()) { // else somebody who takes a service away may be waiting for it
            discoveries_.close();
            providers_.close();
            serialisers_.close();
        }
        worker_->stop(self);
        withdrawals_.Close();
    }

private:
    void updated(std::string const& pid, AnyMap const& properties) {
        if (stopping_ || properties.empty()) {
            return; // an empty map: the configuration has been created but not yet filled
        }
        try {
            auto configuration = readPublisherConfiguration(properties);
            if (auto const found = publishers_.find(pid); found != publishers_.end()) {
                found->second->reconfigure(std::move(configuration));
            } else {
                auto const& publisher = publishers_[pid] = std::make_unique<Publisher>(context_);
                publisher->reconfigure(std::move(configuration));
            }
        } catch (std::exception const& error) {
            persistently([&] {
                reporter_.reportError(error.what(), stringOrEmpty(properties, keys::uniqueID),
                                      modificationCountOrZero(properties));
            });
        }
    }

    void removed(std::string const& pid) {
        if (auto const gone = publishers_.extract(pid)) {
            gone.mapped()->close();
        }
        for (auto const& listener : persistently([this] { return withdrawals_.GetServices(); })) {
            listener->withdrawn(pid);
        }
    }

    // The publishers themselves stay: the task that this comes in the middle of may be one's.
    void stopPublishing() {
        stopping_ = true;
        reporter_.silence();
        for (auto const& [pid, publisher] : publishers_) {
            publisher->close();
        }
        context_.serialiser.reset();
        context_.provider.reset();
        context_.discovery.reset();
    }

    template <class Service>
    void use(std::shared_ptr<Service>& place, std::shared_ptr<Service> const& service) {
        // Without the service before the one after it: nothing of the former may stay in use.
        if (std::exchange(place, nullptr)) {
            servicesChanged();
        }
        if (service && !stopping_) {
            place = service;
            servicesChanged();
        }
    }

    void servicesChanged() {
        for (auto const& [pid, publisher] : publishers_) {
            publisher->servicesChanged();
        }
    }

    void tellStatus(EndpointStatusListener& listener) const {
        for (auto const& [pid, publisher] : publishers_) {
            publisher->tellStatus(listener);
        }
    }

    // Used on the worker only.
    std::map<std::string, std::unique_ptr<Publisher>> publishers_; // by PID
    bool stopping_ = false;

    // Constant or self-synchronised.
    std::shared_ptr<WorkerThread> const worker_;
    Reporter reporter_;

    // Used on the worker only.
    PublisherContext context_;

    cppmicroservices::ServiceTracker<WithdrawalListener> withdrawals_;
    ServiceSlot<Serialiser> serialisers_;
    ServiceSlot<EndpointProvider> providers_;
    ServiceSlot<DiscoveryService> discoveries_;
    std::shared_ptr<FactoryService> const factory_;
    cppmicroservices::ServiceRegistration<cppmicroservices::service::cm::ManagedServiceFactory> registration_;
};

PublisherBundle::PublisherBundle(BundleContext const& context, std::string const& factoryPID, Naming naming)
    : impl_(std::make_shared<Impl>(context, naming)) {
    impl_->start(context, factoryPID);
}

PublisherBundle::~PublisherBundle() {
    impl_->stop(impl_);
}

} // namespace agent::spf::bundles::publisher
