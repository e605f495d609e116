// Required properties: an interface asks for properties that its service must carry at run time. They travel
// with the offer: a peer (here the same process, connecting to itself) sees a service that carries them.
// usage: required_properties ENDPOINT        such as unix:/tmp/required.sock
#include <chrono>
#include <condition_variable>
#include <exception>
#include <iostream>
#include <mutex>
#include <string>

#include <boost/property_tree/ptree.hpp>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/ServiceEvent.h>
#include <cppmicroservices/ServiceReference.h>

#include <agent/host/FrameworkAccess.hpp>
#include <agent/spf/bundles/RemoteService.hpp>
#include <agent/spf/frameworksetup/SPFConfigurationBuilder.hpp>
#include <agent/spf/frameworksetup/frameworksetup.hpp>

namespace {

// Becomes true when a service whose properties match a filter is registered.
class ServiceSeen {
public:
    ServiceSeen(cppmicroservices::BundleContext context, std::string const& filter)
        : context_(context)
        , token_(context_.AddServiceListener(
              [this](cppmicroservices::ServiceEvent const& event) { handle(event); }, filter)) {}
    ~ServiceSeen() { context_.RemoveListener(std::move(token_)); }
    ServiceSeen(ServiceSeen const&) = delete;
    ServiceSeen& operator=(ServiceSeen const&) = delete;

    bool waitFor(std::chrono::seconds timeout) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, timeout, [this] { return seen_; });
    }

private:
    void handle(cppmicroservices::ServiceEvent const& event) {
        if (event.GetType() == cppmicroservices::ServiceEvent::SERVICE_REGISTERED) {
            std::lock_guard const lock(mutex_);
            seen_ = true;
            changed_.notify_all();
        }
    }

    std::mutex mutex_; // guards seen_
    std::condition_variable changed_;
    bool seen_ = false;
    cppmicroservices::BundleContext context_;
    cppmicroservices::ListenerToken token_;
};

} // namespace

int main(int argc, char* argv[]) try {
    using namespace agent::spf::frameworksetup;
    using namespace std::chrono_literals;
    if (argc != 2) {
        std::cerr << "usage: required_properties ENDPOINT\n";
        return 2;
    }

    boost::property_tree::ptree properties;
    properties.put("unit", "celsius");
    addRequiredRuntimeServiceProperties(properties, "room", "kitchen");

    ServiceSeen seen(agent::host::getFramework()->GetBundleContext(),
                     "(&(interface=example.Thermometer)(room=kitchen))");
    SPFConfigurationBuilder builder("required-properties");
    builder.addServicePublisher("offering", "rpcservicepublisher", {}, {argv[1]}, "", "")
        .addServicePublisher("using", "rpcservicepublisher", {argv[1]}, {}, "", "")
        .addServiceInterfaceToServicePublisher("offering", "thermometer-1", "example.Thermometer",
                                               properties);
    SPFConfiguration const configuration = builder.build();

    if (!seen.waitFor(10s)) {
        std::cerr << "no thermometer in the kitchen was seen\n";
        return 1;
    }
    std::cout << "seen: a thermometer whose service carries room=kitchen\n";
    return 0;
} catch (std::exception const& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
