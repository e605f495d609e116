// What the tests of bundles share: an installation in a framework, recorders of what it reports,
// configurations.
#ifndef BUNDLES_TEST_HPP
#define BUNDLES_TEST_HPP

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>
#include <gtest/gtest.h>

#include "agent/spf/bundles/EndpointStatusListener.hpp"
#include "agent/spf/bundles/RemoteService.hpp"
#include "agent/spf/frameworklistener/FrameworkListener.hpp"

namespace bundles_test {

// How long to wait for what must happen; only a failing test waits so long.
inline constexpr std::chrono::seconds patience{20};

class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(TemporaryDirectory const&) = delete;
    TemporaryDirectory& operator=(TemporaryDirectory const&) = delete;
    std::filesystem::path const& path() const noexcept { return path_; }

private:
    std::filesystem::path path_;
};

// A list to which other threads append, and whose contents can be waited for. Thread safe.
template <class T>
class Record {
public:
    void add(T value) {
        std::lock_guard lock(mutex_);
        values_.push_back(std::move(value));
        changed_.notify_all();
    }

    std::vector<T> values() const {
        std::lock_guard lock(mutex_);
        return values_;
    }

    // Whether the values satisfy the predicate, now or before the patience ends.
    bool waitUntil(std::function<bool(std::vector<T> const&)> const& predicate,
                   std::chrono::milliseconds timeout = patience) const {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, timeout, [&] { return predicate(values_); });
    }

    bool waitFor(T const& value, std::size_t times = 1) const {
        return waitUntil([&](auto const& values) {
            return static_cast<std::size_t>(std::count(values.begin(), values.end(), value)) >= times;
        });
    }

    // For a value that holds the text.
    bool waitForOneWith(std::string const& text) const { return !waitForFirstWith(text).empty(); }

    // The first such value; an empty one if there is none before the patience ends.
    T waitForFirstWith(std::string const& text) const {
        T first;
        waitUntil([&](auto const& values) {
            auto const found = std::find_if(values.begin(), values.end(), [&](auto const& value) {
                return value.find(text) != std::string::npos;
            });
            first = found == values.end() ? T() : *found;
            return found != values.end();
        });
        return first;
    }

private:
    mutable std::mutex mutex_; // guards values_
    mutable std::condition_variable changed_;
    std::vector<T> values_;
};

// Records events as texts: "Bound <endpoint> <publisher> <count>", "Error <publisher> <count>: <message>" and
// so on, with the word that the event's kind is called by.
class EventRecorder : public agent::spf::frameworklistener::FrameworkListener {
public:
    void handleEvent(std::shared_ptr<agent::spf::frameworklistener::Event> event) override;
    Record<std::string> events;
};

// Records statuses as texts: "<publisher> <endpoint> <state>: <reason>".
class StatusRecorder : public agent::spf::bundles::EndpointStatusListener {
public:
    void endpointChanged(agent::spf::bundles::EndpointStatus const& status) override;
    Record<std::string> statuses;
};

// A configuration as the library publishes it.
class ConfigurationMap {
public:
    // A string, or any other value.
    struct Value {
        Value(char const* text)
            : any(std::string(text)) {}
        Value(cppmicroservices::Any value)
            : any(std::move(value)) {}
        cppmicroservices::Any any;
    };

    explicit ConfigurationMap(int modificationCount = 1);
    ConfigurationMap& interface(std::string const& uniqueID, std::string const& name,
                                std::vector<std::pair<std::string, Value>> const& properties = {});
    ConfigurationMap& publisher(std::string const& uniqueID, std::vector<std::string> const& bind,
                                std::vector<std::string> const& connect = {},
                                std::string const& importFilter = {}, std::string const& exportFilter = {});
    ConfigurationMap& legacyPublisher(std::string const& uniqueID, std::vector<std::string> const& bind,
                                      std::vector<std::string> const& connect = {});
    ConfigurationMap& map(std::string const& serviceID, std::string const& publisherID);
    cppmicroservices::AnyMap build() const;

private:
    using List = std::vector<cppmicroservices::Any>;
    void addPublisher(std::string const& uniqueID, std::string const& name, std::string const& factoryPID,
                      cppmicroservices::AnyMap const& config);

    int const modificationCount_;
    List interfaces_;
    List publishers_;
    List mappings_;
};

// An interface "clock" that a publisher "server" offers at `endpoint`, and a publisher "client" that connects
// to it.
ConfigurationMap clockAndClient(std::string const& endpoint, std::string const& importFilter = {},
                                std::string const& exportFilter = {});

// A framework with Configuration Admin and the bundles of the seven directories, all started.
class Installation {
public:
    explicit Installation(std::filesystem::path const& runtimeDirectory);
    ~Installation(); // stops the framework

    cppmicroservices::BundleContext context() const;
    cppmicroservices::Bundle bundle(std::string const& symbolicName) const;

    void publish(std::string const& instance, cppmicroservices::AnyMap const& configuration);
    void withdraw(std::string const& instance);
    void stop();

private:
    std::shared_ptr<cppmicroservices::service::cm::Configuration> configuration(std::string const& instance);

    cppmicroservices::Framework framework_;
};

// An installation whose events and statuses are recorded, and a directory for sockets.
class BundlesTest : public testing::Test {
protected:
    BundlesTest();

    std::string socketEndpoint(std::string const& name) const;
    std::filesystem::path socketPath(std::string const& name) const { return directory_.path() / name; }

    // Texts "<interface> <uniqueID> <publisher> via <endpoint>" of the remote services that there are,
    // sorted.
    std::vector<std::string> remoteServices();
    bool waitForRemoteServices(std::vector<std::string> const& expected);

    TemporaryDirectory directory_;
    std::shared_ptr<EventRecorder> const recorder_ = std::make_shared<EventRecorder>();
    std::shared_ptr<StatusRecorder> const statusRecorder_ = std::make_shared<StatusRecorder>();
    Record<std::string> const& events_ = recorder_->events;
    Record<std::string> const& statuses_ = statusRecorder_->statuses;
    Installation installation_;
};

} // namespace bundles_test

#endif
