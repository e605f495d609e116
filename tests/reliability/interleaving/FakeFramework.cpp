// The framework of the scheduled programs.
#include "FakeFramework.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include "Scheduler.hpp"
#include "fakeRecords.hpp"

namespace interleaving {

namespace {

using cppmicroservices::AnyMap;
using cppmicroservices::detail::Access;

void point(char const* what) {
    Scheduler::instance().point(what);
}

void requireNoLockHeld(char const* call) {
    require(Scheduler::instance().locksHeld() == 0, std::string(call) + " is called with a lock held");
}

} // namespace

// Configurations are known by their instance name.
class FakeFramework::Configuration : public cppmicroservices::service::cm::Configuration {
public:
    Configuration(FakeFramework& owner, std::string name)
        : framework_(owner)
        , name_(std::move(name)) {}

    std::string GetPid() const override { return "qo.spf.framework~" + name_; }
    std::string GetFactoryPid() const override { return "qo.spf.framework"; }
    AnyMap GetProperties() const override { return AnyMap(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS); }
    unsigned long GetChangeCount() const override { return 0; }
    unsigned long GetInstanceCount() override { return 1; }

    std::shared_future<void> Update(AnyMap properties) override {
        point("updates the configuration");
        ++framework_.updates;
        if (framework_.onUpdate) {
            framework_.onUpdate(name_,
                                cppmicroservices::ref_any_cast<int>(properties.at("modificationCount")));
        }
        return {};
    }
    std::shared_future<void> Remove() override {
        point("removes the configuration");
        ++framework_.removals;
        if (framework_.onRemove) {
            framework_.onRemove(name_);
        }
        return {};
    }

    std::shared_ptr<cppmicroservices::ThreadpoolSafeFuture> SafeUpdate(AnyMap) override { return nullptr; }
    std::pair<bool, std::shared_ptr<cppmicroservices::ThreadpoolSafeFuture>>
    SafeUpdateIfDifferent(AnyMap) override {
        return {};
    }
    std::pair<bool, std::shared_future<void>> UpdateIfDifferent(AnyMap) override { return {}; }
    std::shared_ptr<cppmicroservices::ThreadpoolSafeFuture> SafeRemove() override { return nullptr; }

private:
    FakeFramework& framework_;
    std::string name_;
};

class FakeFramework::ConfigurationAdmin : public cppmicroservices::service::cm::ConfigurationAdmin {
public:
    explicit ConfigurationAdmin(FakeFramework& owner)
        : framework_(owner) {}

    std::shared_ptr<cppmicroservices::service::cm::Configuration>
    GetConfiguration(std::string const&) override {
        throw std::logic_error("not expected");
    }
    std::shared_ptr<cppmicroservices::service::cm::Configuration>
    CreateFactoryConfiguration(std::string const&) override {
        throw std::logic_error("not expected");
    }
    std::shared_ptr<cppmicroservices::service::cm::Configuration>
    GetFactoryConfiguration(std::string const&, std::string const& instanceName) override {
        requireNoLockHeld("ConfigurationAdmin");
        return std::make_shared<FakeFramework::Configuration>(framework_, instanceName);
    }
    std::vector<std::shared_ptr<cppmicroservices::service::cm::Configuration>>
    ListConfigurations(std::string const&) override {
        return {};
    }

private:
    FakeFramework& framework_;
};

FakeFramework::FakeFramework()
    : handle_(std::make_shared<cppmicroservices::Framework>(Access::makeBundle(*this))) {
    using Admin = cppmicroservices::service::cm::ConfigurationAdmin;
    std::shared_ptr<Admin> const admin = std::make_shared<ConfigurationAdmin>(*this);
    services_.push_back(std::make_shared<Service>(*this, cppmicroservices::MakeInterfaceMap<Admin>(admin)));
}

FakeFramework::~FakeFramework() = default;

cppmicroservices::Bundle FakeFramework::bundle() {
    return Access::makeBundle(*this);
}

void FakeFramework::startBundle() {
    point("starts a bundle");
    ++bundleStarts;
    if (onStart) {
        auto& scheduler = Scheduler::instance();
        auto const excusedBefore = scheduler.excuseLocks(0);
        scheduler.excuseLocks(scheduler.locksHeld());
        std::shared_ptr<void> const atEnd(nullptr, [&](void*) { scheduler.excuseLocks(excusedBefore); });
        onStart();
    }
}

std::vector<std::shared_ptr<FakeFramework::Service>>
FakeFramework::find(std::string const& interfaceID) const {
    std::vector<std::shared_ptr<Service>> found;
    std::copy_if(services_.begin(), services_.end(), std::back_inserter(found),
                 [&](auto const& service) { return service->objects->count(interfaceID) != 0; });
    return found;
}

std::vector<std::shared_ptr<FrameworkListener>> FakeFramework::listeners() const {
    std::vector<std::shared_ptr<FrameworkListener>> result;
    for (auto const& service : find(us_service_interface_iid<FrameworkListener>())) {
        result.push_back(cppmicroservices::ExtractInterface<FrameworkListener>(service->objects));
    }
    return result;
}

std::size_t FakeFramework::listenerCount() const {
    return listeners().size();
}

void FakeFramework::deliver(std::shared_ptr<Event> const& event) {
    point("delivers an event");
    for (auto& listener : listeners()) {
        listener->handleEvent(event);
        listener.reset();
    }
}

std::shared_ptr<FakeFramework::Service>
FakeFramework::registerService(cppmicroservices::InterfaceMapConstPtr objects) {
    requireNoLockHeld("RegisterService()");
    point("registers a service");
    if (stopped_) {
        throw std::runtime_error("The bundle context is no longer valid");
    }
    ++registrations;
    auto const listener = cppmicroservices::ExtractInterface<FrameworkListener>(objects);
    auto service = services_.emplace_back(std::make_shared<Service>(*this, std::move(objects)));
    if (onRegistered) {
        onRegistered(listener);
    }
    point("has registered a service");
    return service;
}

void FakeFramework::unregister(Service& service) {
    requireNoLockHeld("Unregister()");
    point("unregisters a service");
    if (!service.isRegistered) {
        throw std::logic_error("Service is unregistered");
    }
    ++unregistrations;
    service.isRegistered = false;
    if (onUnregistering) {
        onUnregistering(cppmicroservices::ExtractInterface<FrameworkListener>(service.objects));
    }
    auto const same = [&](auto const& each) { return each.get() == &service; };
    services_.erase(std::remove_if(services_.begin(), services_.end(), same), services_.end());
    point("has unregistered a service");
}

void FakeFramework::stop() {
    point("stops the framework");
    stopped_ = true;
    for (auto const& service : services_) {
        service->isRegistered = false;
    }
    auto const gone = std::move(services_);
    services_.clear();
}

} // namespace interleaving
