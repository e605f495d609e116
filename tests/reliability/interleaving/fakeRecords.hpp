// What stands behind the provider's handles here. The names are those of the handles' declarations.
#ifndef TESTS_RELIABILITY_INTERLEAVING_FAKE_RECORDS_HPP
#define TESTS_RELIABILITY_INTERLEAVING_FAKE_RECORDS_HPP

#include <memory>
#include <utility>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>

#include "FakeFramework.hpp"

namespace cppmicroservices::detail {

class BundleRecord {
public:
    explicit BundleRecord(interleaving::FakeFramework& owner)
        : framework(owner) {}
    interleaving::FakeFramework& framework;
};

class ContextRecord {
public:
    explicit ContextRecord(interleaving::FakeFramework& owner)
        : framework(owner) {}
    interleaving::FakeFramework& framework;
};

class ServiceRecord {
public:
    ServiceRecord(interleaving::FakeFramework& owner, InterfaceMapConstPtr registered)
        : framework(owner)
        , objects(std::move(registered)) {}
    interleaving::FakeFramework& framework;
    InterfaceMapConstPtr objects;
    bool isRegistered = true;
};

// The handles' friend.
struct Access {
    static Bundle makeBundle(interleaving::FakeFramework& framework) {
        return Bundle(std::make_shared<BundleRecord>(framework), nullptr);
    }
    static interleaving::FakeFramework& frameworkOf(Bundle const& bundle) {
        return bundle.record_->framework;
    }
    static BundleContext makeContext(interleaving::FakeFramework& framework) {
        return BundleContext(std::make_shared<ContextRecord>(framework));
    }
    static ServiceRegistrationU makeRegistration(std::shared_ptr<ServiceRecord> record) {
        return ServiceRegistrationU(ServiceRegistrationBase(std::move(record)));
    }
    static std::shared_ptr<ServiceRecord> recordOf(ServiceRegistrationBase const& registration) {
        return registration.record_;
    }
    static ServiceLink::Target targetOf(ServiceReferenceBase const& reference) {
        return reference.link_.load();
    }
};

} // namespace cppmicroservices::detail

#endif
