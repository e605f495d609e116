// The service reference of Configuration Admin that its events carry.
#ifndef CPPMICROSERVICES_CONFIGADMIN_ADMINREFERENCE_HPP
#define CPPMICROSERVICES_CONFIGADMIN_ADMINREFERENCE_HPP

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceReference.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include <mutex>

namespace agent::configurationadmin {

// Looked up when first needed: a client that finds the service while it is being registered may cause an
// event before the registering bundle itself knows the reference. Thread-safe.
class AdminReference {
public:
    using Reference = cppmicroservices::ServiceReference<cppmicroservices::service::cm::ConfigurationAdmin>;

    explicit AdminReference(cppmicroservices::BundleContext context);

    // Invalid if the service is not registered.
    Reference get();

private:
    cppmicroservices::BundleContext const context_;
    std::mutex mutex_; // guards reference_
    Reference reference_;
};

} // namespace agent::configurationadmin

#endif
