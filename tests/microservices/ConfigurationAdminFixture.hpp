// A framework with Configuration Admin for one test, and services that record what they are told.
#ifndef TESTS_MICROSERVICES_CONFIGURATION_ADMIN_FIXTURE_HPP
#define TESTS_MICROSERVICES_CONFIGURATION_ADMIN_FIXTURE_HPP

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <cppmicroservices/ServiceProperties.h>
#include <cppmicroservices/ServiceReference.h>
#include <cppmicroservices/ServiceRegistration.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>
#include <cppmicroservices/cm/ConfigurationListener.hpp>
#include <cppmicroservices/cm/ManagedService.hpp>
#include <cppmicroservices/cm/ManagedServiceFactory.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace configuration_admin_test {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using cppmicroservices::ServiceProperties;
using cppmicroservices::ServiceRegistration;
using cppmicroservices::service::cm::Configuration;
using cppmicroservices::service::cm::ConfigurationAdmin;
using cppmicroservices::service::cm::ConfigurationEvent;
using cppmicroservices::service::cm::ConfigurationEventType;
using cppmicroservices::service::cm::ConfigurationListener;
using cppmicroservices::service::cm::ManagedService;
using cppmicroservices::service::cm::ManagedServiceFactory;

// Ends a wait that would otherwise never end, in a test that fails.
constexpr std::chrono::seconds failureGuard{30};

// What the tests store: a map with one number, and how they read it back; -1 stands for a map without it.
inline AnyMap numbered(int number) {
    AnyMap properties{AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS};
    properties["number"] = number;
    return properties;
}

inline int numberIn(AnyMap const& properties) {
    auto const found = properties.find("number");
    return found == properties.end() ? -1 : cppmicroservices::any_cast<int>(found->second);
}

template <class Future>
bool isReady(Future const& future) {
    return future.wait_for(std::chrono::seconds::zero()) == std::future_status::ready;
}

template <class Future>
bool becomesReady(Future const& future) {
    return future.wait_for(failureGuard) == std::future_status::ready;
}

// A list that one thread appends to and another waits for.
template <class Value>
class Record {
public:
    void append(Value value) {
        std::lock_guard lock{mutex_};
        values_.push_back(std::move(value));
        changed_.notify_all();
    }

    std::vector<Value> values() const {
        std::lock_guard lock{mutex_};
        return values_;
    }

    bool reaches(std::size_t size) const {
        std::unique_lock lock{mutex_};
        return changed_.wait_for(lock, failureGuard, [&] { return values_.size() >= size; });
    }

private:
    mutable std::mutex mutex_; // guards values_
    mutable std::condition_variable changed_;
    std::vector<Value> values_;
};

// Opens once, for all who wait at it. Copies are the same gate; services hold one, as they may outlive the
// test.
class Gate {
public:
    void open() { opened_->set_value(); }
    void pass() const { opening_.wait_for(failureGuard); }

private:
    std::shared_ptr<std::promise<void>> opened_{std::make_shared<std::promise<void>>()};
    std::shared_future<void> opening_{opened_->get_future().share()};
};

struct RecordingService : ManagedService {
    void Updated(AnyMap const& properties) override {
        updates.append(properties);
        if (then) {
            then(properties);
        }
    }

    std::vector<int> numbers() const {
        std::vector<int> result;
        for (auto const& properties : updates.values()) {
            result.push_back(numberIn(properties));
        }
        return result;
    }

    Record<AnyMap> updates;
    std::function<void(AnyMap const&)> then; // set before registration
};

struct RecordingFactory : ManagedServiceFactory {
    using Call = std::pair<std::string, int>; // the PID and the number; `removed` stands for Removed()
    static constexpr int removed = -2;

    void Updated(std::string const& pid, AnyMap const& properties) override {
        calls.append({pid, numberIn(properties)});
        if (then) {
            then(pid);
        }
    }

    void Removed(std::string const& pid) override {
        calls.append({pid, removed});
        if (then) {
            then(pid);
        }
    }

    Record<Call> calls;
    std::function<void(std::string const&)> then; // set before registration
};

struct RecordingListener : ConfigurationListener {
    void configurationEvent(ConfigurationEvent const& event) override {
        events.append(event);
        if (then) {
            then(event);
        }
    }

    Record<ConfigurationEvent> events;
    std::function<void(ConfigurationEvent const&)> then; // set before registration
};

class ConfigurationAdminTest : public ::testing::Test {
protected:
    void SetUp() override {
        framework_.Start();
        context_ = framework_.GetBundleContext();
        auto const bundles = context_.InstallBundles(SPF_CONFIGURATION_ADMIN_BUNDLE);
        ASSERT_EQ(bundles.size(), 1U);
        bundle_ = bundles.front();
        bundle_.Start();
        admin_ = findAdmin();
        ASSERT_TRUE(admin_);
    }

    // The services leave first: what they refer to in the test is gone by now.
    void TearDown() override {
        for (auto& unregister : cleanups_) {
            unregister();
        }
        admin_.reset();
        framework_.Stop();
        framework_.WaitForStop(std::chrono::milliseconds::zero());
    }

    // Unregisters at the end of the test what the test has not unregistered itself.
    template <class Interface>
    ServiceRegistration<Interface> keep(ServiceRegistration<Interface> registration) {
        cleanups_.push_back([registration]() mutable {
            try {
                registration.Unregister();
            } catch (std::logic_error const&) {
            }
        });
        return registration;
    }

    std::shared_ptr<ConfigurationAdmin> findAdmin() {
        auto const reference = context_.GetServiceReference<ConfigurationAdmin>();
        return reference ? context_.GetService(reference) : nullptr;
    }

    template <class Interface, class Service>
    ServiceRegistration<Interface> registerFor(std::string const& pid,
                                               std::shared_ptr<Service> const& service) {
        return keep(
            context_.RegisterService<Interface>(service, ServiceProperties{{"service.pid", Any{pid}}}));
    }

    std::shared_ptr<RecordingService> registerService(std::string const& pid,
                                                      std::function<void(AnyMap const&)> then = {}) {
        auto service = std::make_shared<RecordingService>();
        service->then = std::move(then);
        registerFor<ManagedService>(pid, service);
        return service;
    }

    std::shared_ptr<RecordingFactory> registerFactory(std::string const& pid,
                                                      std::function<void(std::string const&)> then = {}) {
        auto factory = std::make_shared<RecordingFactory>();
        factory->then = std::move(then);
        registerFor<ManagedServiceFactory>(pid, factory);
        return factory;
    }

    std::shared_ptr<RecordingListener>
    registerListener(std::function<void(ConfigurationEvent const&)> then = {}) {
        auto listener = std::make_shared<RecordingListener>();
        listener->then = std::move(then);
        keep(context_.RegisterService<ConfigurationListener>(listener));
        return listener;
    }

    cppmicroservices::Framework framework_{cppmicroservices::FrameworkFactory{}.NewFramework()};
    cppmicroservices::BundleContext context_;
    cppmicroservices::Bundle bundle_;
    std::shared_ptr<ConfigurationAdmin> admin_;

private:
    std::vector<std::function<void()>> cleanups_;
};

} // namespace configuration_admin_test

#endif
