// What the tests of bundles share.
#include "BundlesTest.hpp"

#include <cstdlib>
#include <stdexcept>

#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>

#include "agent/spf/bundles/ConfigurationKeys.hpp"
#include "agent/spf/bundles/common/Properties.hpp"
#include "agent/spf/bundles/common/ServiceAccess.hpp"

namespace bundles_test {

using agent::spf::bundles::EndpointStatus;
using agent::spf::bundles::makeMap;
using agent::spf::bundles::RemoteService;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using cppmicroservices::service::cm::ConfigurationAdmin;
using namespace agent::spf::frameworklistener;
namespace keys = agent::spf::bundles::keys;
namespace pids = agent::spf::bundles::pids;

namespace {

char const* const bundleDirectories[] = {"serialisationproviders",
                                         "externalprocessdiscovery",
                                         "providers",
                                         "framework",
                                         "servicepublishers",
                                         "clients",
                                         "serviceproviders"};

std::string textOf(FrameworkEvent const& event) {
    auto const removed = event.kind == FrameworkEvent::Kind::ConfigurationRemoved;
    return std::string(removed ? "ConfigurationRemoved " : "AllServicesPublished ") + event.name + " " +
           std::to_string(event.modificationCount);
}

std::string textOf(RouterEvent const& event) {
    static char const* const kinds[] = {"Bound", "Rebound", "Connected", "Reconnected"};
    return std::string(kinds[static_cast<std::size_t>(event.kind)]) + " " +
           cppmicroservices::any_cast<std::string>(event.endpoint) + " " + event.name + " " +
           std::to_string(event.modificationCount);
}

std::string textOf(FrameworkErrorEvent const& event) {
    auto const head = "Error " + event.name + " " + std::to_string(event.modificationCount) + ": ";
    try {
        std::rethrow_exception(event.error);
    } catch (std::runtime_error const& error) {
        return head + error.what();
    }
}

} // namespace

TemporaryDirectory::TemporaryDirectory() {
    // The path of a socket below it has 107 bytes at most.
    constexpr std::size_t longest = 50;
    auto const configured = std::filesystem::temp_directory_path();
    auto const parent = configured.native().size() <= longest ? configured : std::filesystem::path("/tmp");
    auto name = (parent / "bundles-test-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("cannot make a directory " + name);
    }
    path_ = name;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void EventRecorder::handleEvent(std::shared_ptr<Event> event) {
    switch (event->eventType) {
    case EventType::FrameworkEvent:
        return events.add(textOf(static_cast<FrameworkEvent const&>(*event)));
    case EventType::RouterEvent:
        return events.add(textOf(static_cast<RouterEvent const&>(*event)));
    case EventType::FrameworkErrorEvent:
        return events.add(textOf(static_cast<FrameworkErrorEvent const&>(*event)));
    }
}

void StatusRecorder::endpointChanged(EndpointStatus const& status) {
    static char const* const states[] = {"binding", "bound", "connecting", "connected", "lost", "failed"};
    statuses.add(status.publisher + " " + status.endpoint + " " +
                 states[static_cast<std::size_t>(status.state)] + ": " + status.reason);
}

ConfigurationMap::ConfigurationMap(int modificationCount)
    : modificationCount_(modificationCount) {}

ConfigurationMap& ConfigurationMap::interface(std::string const& uniqueID, std::string const& name,
                                              std::vector<std::pair<std::string, Value>> const& properties) {
    auto requested = makeMap();
    for (auto const& [key, value] : properties) {
        requested[key] = value.any;
    }
    auto version = makeMap();
    version[keys::major] = 1;
    auto entry = makeMap();
    entry[keys::uniqueID] = uniqueID;
    entry[keys::name] = name;
    entry[keys::version] = version;
    entry[keys::requestedProperties] = requested;
    interfaces_.emplace_back(entry);
    return *this;
}

ConfigurationMap& ConfigurationMap::publisher(std::string const& uniqueID,
                                              std::vector<std::string> const& bind,
                                              std::vector<std::string> const& connect,
                                              std::string const& importFilter,
                                              std::string const& exportFilter) {
    auto config = makeMap();
    config[keys::endpointsToBindTo] = List(bind.begin(), bind.end());
    config[keys::endpointsToConnectTo] = List(connect.begin(), connect.end());
    config[keys::importFilter] = importFilter;
    config[keys::exportFilter] = exportFilter;
    addPublisher(uniqueID, "rpcservicepublisher", pids::rpcPublisher, config);
    return *this;
}

ConfigurationMap& ConfigurationMap::legacyPublisher(std::string const& uniqueID,
                                                    std::vector<std::string> const& bind,
                                                    std::vector<std::string> const& connect) {
    auto config = makeMap();
    config[keys::endpointsToBindTo] = List(bind.begin(), bind.end());
    config[keys::endpointsToConnectTo] = List(connect.begin(), connect.end());
    config[keys::importFilter] = std::string();
    config[keys::exportFilter] = std::string();
    addPublisher(uniqueID, "legacyservicepublisher", pids::legacyPublisher, config);
    return *this;
}

void ConfigurationMap::addPublisher(std::string const& uniqueID, std::string const& name,
                                    std::string const& factoryPID, AnyMap const& config) {
    auto entry = makeMap();
    entry[keys::uniqueID] = uniqueID;
    entry[keys::name] = name;
    entry[keys::factoryPID] = factoryPID;
    entry[keys::config] = config;
    publishers_.emplace_back(entry);
}

ConfigurationMap& ConfigurationMap::map(std::string const& serviceID, std::string const& publisherID) {
    auto entry = makeMap();
    entry[keys::serviceID] = serviceID;
    entry[keys::publisherID] = publisherID;
    mappings_.emplace_back(entry);
    return *this;
}

AnyMap ConfigurationMap::build() const {
    auto configuration = makeMap();
    configuration[keys::serviceConfigurations] = interfaces_;
    configuration[keys::servicePublisherConfigurations] = publishers_;
    configuration[keys::servicePublisherMappings] = mappings_;
    configuration[keys::modificationCount] = modificationCount_;
    return configuration;
}

ConfigurationMap clockAndClient(std::string const& endpoint, std::string const& importFilter,
                                std::string const& exportFilter) {
    return ConfigurationMap()
        .interface("i1", "clock", {{"colour", "red"}})
        .publisher("server", {endpoint}, {}, {}, exportFilter)
        .publisher("client", {}, {endpoint}, importFilter)
        .map("i1", "server");
}

Installation::Installation(std::filesystem::path const& runtimeDirectory)
    : framework_(cppmicroservices::FrameworkFactory().NewFramework(cppmicroservices::FrameworkConfiguration{
          {"qo.spf.agent", Any(std::string("test-agent"))},
          {"qo.spf.runtimedirectory", Any(runtimeDirectory.string())}})) {
    framework_.Start();
    auto start = [this](std::filesystem::path const& file) {
        for (auto& one : context().InstallBundles(file.string())) {
            one.Start();
        }
    };
    start(BUNDLES_TEST_CONFIGURATION_ADMIN);
    for (auto const* directory : bundleDirectories) {
        auto const path = std::filesystem::path(BUNDLES_TEST_DIRECTORY) / directory;
        if (!std::filesystem::exists(path)) {
            continue;
        }
        for (auto const& file : std::filesystem::directory_iterator(path)) {
            start(file.path());
        }
    }
}

Installation::~Installation() {
    stop();
}

cppmicroservices::BundleContext Installation::context() const {
    return framework_.GetBundleContext();
}

cppmicroservices::Bundle Installation::bundle(std::string const& symbolicName) const {
    for (auto const& one : context().GetBundles()) {
        if (one.GetSymbolicName() == symbolicName) {
            return one;
        }
    }
    throw std::runtime_error("no bundle " + symbolicName);
}

std::shared_ptr<cppmicroservices::service::cm::Configuration>
Installation::configuration(std::string const& instance) {
    auto const admin = context().GetService(context().GetServiceReference<ConfigurationAdmin>());
    if (!admin) {
        throw std::runtime_error("Configuration Admin has gone");
    }
    return admin->GetFactoryConfiguration(pids::framework, instance);
}

void Installation::publish(std::string const& instance, AnyMap const& properties) {
    configuration(instance)->Update(properties);
}

void Installation::withdraw(std::string const& instance) {
    configuration(instance)->Remove();
}

void Installation::stop() {
    framework_.Stop();
    framework_.WaitForStop(std::chrono::milliseconds::zero());
}

BundlesTest::BundlesTest()
    : installation_(directory_.path() / "runtime") {
    installation_.context().RegisterService<FrameworkListener>(recorder_);
    installation_.context().RegisterService<agent::spf::bundles::EndpointStatusListener>(statusRecorder_);
}

std::string BundlesTest::socketEndpoint(std::string const& name) const {
    return "unix:" + socketPath(name).string();
}

std::vector<std::string> BundlesTest::remoteServices() {
    std::vector<std::string> texts;
    auto context = installation_.context();
    for (auto const& reference : context.GetServiceReferences<RemoteService>()) {
        if (auto const service = agent::spf::bundles::serviceOrNull(context, reference)) {
            texts.push_back(service->interfaceName() + " " + service->uniqueID() + " " +
                            service->publisher() + " via " + service->endpoint());
        }
    }
    std::sort(texts.begin(), texts.end());
    return texts;
}

bool BundlesTest::waitForRemoteServices(std::vector<std::string> const& expected) {
    // Shared with the listener, which may still be called for a while after it was removed.
    auto const changes = std::make_shared<Record<int>>();
    auto context = installation_.context();
    auto token =
        context.AddServiceListener([changes](cppmicroservices::ServiceEvent const&) { changes->add(0); });
    auto const deadline = std::chrono::steady_clock::now() + patience;
    auto found = remoteServices() == expected;
    for (std::size_t seen = 0; !found && std::chrono::steady_clock::now() < deadline;) {
        // An unregistering service is still there while its event is delivered, so look again soon after.
        changes->waitUntil([seen](auto const& values) { return values.size() > seen; },
                           std::chrono::milliseconds(20));
        seen = changes->values().size();
        found = remoteServices() == expected;
    }
    context.RemoveListener(std::move(token));
    return found;
}

} // namespace bundles_test
