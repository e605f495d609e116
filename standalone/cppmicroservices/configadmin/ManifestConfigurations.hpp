// The configurations that bundles bring along in their manifests, which exist as long as the bundle is
// active:
//
//     "cm": { "version": 1, "configurations": [ { "pid": "printer", "properties": { "pages": 5 } } ] }
//
// What a client changed or removed meanwhile stays as the client left it when the bundle stops.
#ifndef CPPMICROSERVICES_CONFIGADMIN_MANIFESTCONFIGURATIONS_HPP
#define CPPMICROSERVICES_CONFIGADMIN_MANIFESTCONFIGURATIONS_HPP

#include "ConfigurationStore.hpp"

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/BundleEvent.h>

#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace agent::configurationadmin {

class ManifestConfigurations : public std::enable_shared_from_this<ManifestConfigurations> {
public:
    ManifestConfigurations(cppmicroservices::BundleContext context,
                           std::shared_ptr<ConfigurationStore> store);

    // Provides those of all active bundles, and from now on those of every bundle that starts.
    void open();

    // Withdraws them all, and provides no more: the framework still tells of bundles until it has stopped
    // this one.
    void close();

private:
    using Provided = std::vector<ConfigurationStore::Provided>;

    void bundleChanged(cppmicroservices::BundleEvent const& event);
    void provide(cppmicroservices::Bundle const& bundle);
    void withdraw(long bundleId);
    void withdrawWithLock(Provided const& configurations);

    cppmicroservices::BundleContext context_;
    std::shared_ptr<ConfigurationStore> const store_;

    // Guards what follows. Held while configurations are stored, so that a bundle that stops meanwhile waits
    // until there is something to withdraw. That compares them with those that are there: the values of a
    // manifest that was given in memory may be of foreign types, whose comparison must not stop a bundle.
    std::mutex mutex_;
    bool isOpen_ = true;
    std::map<long, Provided> byBundle_;
};

} // namespace agent::configurationadmin

#endif
