// The connection with the registry and Configuration Admin; what is done about a configuration is elsewhere.
#include "agent/spf/bundles/framework/ConfigurationFramework.hpp"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/ServiceTracker.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>
#include <cppmicroservices/cm/ManagedServiceFactory.hpp>

#include "agent/spf/bundles/ConfigurationKeys.hpp"
#include "agent/spf/bundles/WithdrawalListener.hpp"
#include "agent/spf/bundles/common/FactoryService.hpp"
#include "agent/spf/bundles/common/FrameworkEvents.hpp"
#include "agent/spf/bundles/common/ServiceAccess.hpp"
#include "agent/spf/bundles/common/WorkerThread.hpp"
#include "agent/spf/bundles/common/persistently.hpp"
#include "agent/spf/bundles/framework/PublisherConfigurations.hpp"

namespace agent::spf::bundles::framework {

using cppmicroservices::AnyMap;
using cppmicroservices::BundleContext;
using cppmicroservices::ServiceReference;
using cppmicroservices::ServiceTracker;
using cppmicroservices::service::cm::Configuration;
using cppmicroservices::service::cm::ConfigurationAdmin;
using cppmicroservices::service::cm::ManagedServiceFactory;
using frameworklistener::FrameworkEvent;

namespace {

// The instance name in the PID of a published configuration.
std::string instanceOf(std::string const& pid) {
    auto const prefix = std::string(pids::framework) + "~";
    return pid.compare(0, prefix.size(), prefix) == 0 ? pid.substr(prefix.size()) : pid;
}

// A managed service factory, under the PID that it was registered with: its properties may change.
struct CountedFactory {
    std::shared_ptr<ManagedServiceFactory> const service; // in use for as long as it is counted
    std::string const factoryPID;
};

// Counts the managed service factories by factory PID and tells when the last one of a PID is gone.
class FactoryTracker
    : public cppmicroservices::ServiceTrackerCustomizer<ManagedServiceFactory, CountedFactory> {
public:
    using Gone = std::function<void(std::string const& factoryPID)>;

    FactoryTracker(BundleContext const& context, Gone gone)
        : gone_(std::move(gone))
        , context_(context)
        , tracker_(context, this) {}

    void open() { tracker_.Open(); }
    void close() { tracker_.Close(); }

    bool has(std::string const& factoryPID) const {
        std::lock_guard lock(mutex_);
        return counts_.count(factoryPID) != 0;
    }

    std::shared_ptr<CountedFactory>
    AddingService(ServiceReference<ManagedServiceFactory> const& reference) override {
        auto service = serviceOrNull(context_, reference);
        if (!service) {
            return nullptr;
        }
        auto counted =
            std::make_shared<CountedFactory>(CountedFactory{std::move(service), pidOfFactory(reference)});
        std::lock_guard lock(mutex_);
        ++counts_[counted->factoryPID];
        return counted;
    }

    void ModifiedService(ServiceReference<ManagedServiceFactory> const&,
                         std::shared_ptr<CountedFactory> const&) override {}

    void RemovedService(ServiceReference<ManagedServiceFactory> const&,
                        std::shared_ptr<CountedFactory> const& counted) override {
        {
            std::lock_guard lock(mutex_);
            if (--counts_[counted->factoryPID] != 0) {
                return;
            }
            counts_.erase(counted->factoryPID);
        }
        gone_(counted->factoryPID);
    }

private:
    static std::string pidOfFactory(ServiceReference<ManagedServiceFactory> const& reference) {
        auto const pid = reference.GetProperty(cppmicroservices::Constants::SERVICE_PID);
        return pid.Type() == typeid(std::string) ? cppmicroservices::any_cast<std::string>(pid)
                                                 : std::string();
    }

    Gone const gone_;
    BundleContext context_;
    mutable std::mutex mutex_; // guards counts_
    std::map<std::string, int> counts_;
    ServiceTracker<ManagedServiceFactory, CountedFactory> tracker_;
};

} // namespace

class ConfigurationFramework::Impl : private PublisherEnvironment {
public:
    explicit Impl(BundleContext const& context)
        : events_(context)
        , admins_(context)
        , publishers_(*this)
        , factories_(context,
                     [this](std::string const& factoryPID) { noteThatPublishersAreGone(factoryPID); })
        , withdrawals_(std::make_shared<Withdrawals>(worker_, publishers_))
        , factory_(makeFactory()) {}

    // The tasks that this brings about refer to the object, which must be whole to end them.
    void start(BundleContext context) {
        factories_.open();
        admins_.Open();
        withdrawalRegistration_ = context.RegisterService<WithdrawalListener>(withdrawals_);
        factoryRegistration_ = registerFactory(context, factory_, pids::framework);
    }

    ~Impl() override { stop(); }

    // Idempotent. A listener of events may bring it about in the middle of a task, which then goes on, as do
    // those that were posted before: `self` is kept until they have run.
    void stop(std::shared_ptr<Impl> const& self = nullptr) {
        unregister(factoryRegistration_);
        unregister(withdrawalRegistration_);
        factories_.close();
        worker_->stop(self);
        admins_.Close();
        events_.close();
    }

private:
    template <class Service>
    static void unregister(cppmicroservices::ServiceRegistration<Service>& registration) {
        if (registration) { // not if the start has failed before
            std::exchange(registration, {}).Unregister();
        }
    }

    // Survives this object in the hands of a publisher, and then does nothing.
    class Withdrawals : public WithdrawalListener {
    public:
        Withdrawals(std::shared_ptr<WorkerThread> worker, PublisherConfigurations& publishers)
            : worker_(std::move(worker))
            , publishers_(publishers) {}
        void withdrawn(std::string const& pid) override {
            persistently([&] { worker_->post([this, pid] { publishers_.withdrawn(pid); }); });
        }

    private:
        std::shared_ptr<WorkerThread> const worker_;
        PublisherConfigurations& publishers_; // alive as long as the worker takes tasks
    };

    void noteThatPublishersAreGone(std::string const& factoryPID) {
        try {
            worker_->post([this, factoryPID] { publishers_.publishersGone(factoryPID); });
        } catch (std::bad_alloc const&) {
            // Nobody is told of removals that were to come; whoever makes the factories go is not held up.
        }
    }

    std::shared_ptr<FactoryService> makeFactory() {
        return std::make_shared<FactoryService>(
            worker_,
            [this](std::string const& pid, AnyMap const& properties) {
                persistently([&] { publishers_.updated(instanceOf(pid), properties); });
            },
            [this](std::string const& pid) { persistently([&] { publishers_.removed(instanceOf(pid)); }); });
    }

    void update(PublisherEntry const& entry) override {
        auto const admin = admins_.GetService();
        if (!admin) {
            throw std::runtime_error("there is no Configuration Admin service");
        }
        auto const configuration = admin->GetFactoryConfiguration(entry.factoryPID, entry.instanceName);
        auto& known = configurations_[pidOf(entry)];
        known.configuration = configuration;
        configuration->Update(entry.properties);
        known.hasProperties = true;
    }

    bool remove(PublisherEntry const& entry) override {
        auto const found = persistently([&] { return configurations_.find(pidOf(entry)); });
        if (found == configurations_.end()) {
            return false;
        }
        auto const known = std::move(found->second);
        configurations_.erase(found);
        auto const hasPublisher = known.hasProperties && factories_.has(entry.factoryPID);
        try {
            persistently([&] { known.configuration->Remove(); });
        } catch (std::exception const&) {
            return false; // removed already, by somebody else
        }
        return hasPublisher;
    }

    void reportRemoved(std::string const& publisherID, std::uint32_t modificationCount) override {
        auto const kind = FrameworkEvent::Kind::ConfigurationRemoved;
        events_.deliver(persistently(
            [&] { return std::make_shared<FrameworkEvent>(kind, publisherID, modificationCount); }));
    }

    void reportError(std::string const& publisherID, std::uint32_t modificationCount,
                     std::string const& text) override {
        events_.deliverError(text, publisherID, modificationCount);
    }

    struct KnownConfiguration {
        std::shared_ptr<Configuration> configuration;
        bool hasProperties = false; // without them no publisher has been told of it
    };

    std::shared_ptr<WorkerThread> const worker_ = std::make_shared<WorkerThread>("spf-framework");
    FrameworkEvents events_;
    ServiceTracker<ConfigurationAdmin> admins_;
    std::map<std::string, KnownConfiguration> configurations_; // by PID; used on the worker only
    PublisherConfigurations publishers_;                       // used on the worker only
    FactoryTracker factories_;
    std::shared_ptr<Withdrawals> const withdrawals_;
    std::shared_ptr<FactoryService> const factory_;
    cppmicroservices::ServiceRegistration<WithdrawalListener> withdrawalRegistration_;
    cppmicroservices::ServiceRegistration<ManagedServiceFactory> factoryRegistration_;
};

ConfigurationFramework::ConfigurationFramework(BundleContext const& context)
    : impl_(std::make_shared<Impl>(context)) {
    impl_->start(context);
}

ConfigurationFramework::~ConfigurationFramework() {
    impl_->stop(impl_);
}

} // namespace agent::spf::bundles::framework
