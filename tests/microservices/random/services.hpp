// Services, their properties and filters, factories and trackers' customizers for random operations on the
// registry.
#ifndef TESTS_MICROSERVICES_RANDOM_SERVICES_HPP
#define TESTS_MICROSERVICES_RANDOM_SERVICES_HPP

#include "CallLog.hpp"
#include "Random.hpp"

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/PrototypeServiceFactory.h>
#include <cppmicroservices/ServiceFactory.h>
#include <cppmicroservices/ServiceInterface.h>
#include <cppmicroservices/ServiceProperties.h>
#include <cppmicroservices/ServiceReference.h>
#include <cppmicroservices/ServiceRegistration.h>
#include <cppmicroservices/ServiceTracker.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace randomised {

struct First {
    virtual ~First() = default;
    std::string name;
};
struct Second {
    virtual ~Second() = default;
};
struct Both : First, Second {};

// The property "n" names each service.
std::string nameOf(cppmicroservices::ServiceReferenceBase const& reference);

// Ends the name of a service whose factory may fail. With the installed provider, it is in use even then.
constexpr std::string_view failingSuffix = "f";
bool mayFail(cppmicroservices::ServiceReferenceU const& reference);

cppmicroservices::ServiceProperties randomServiceProperties(Random& random, std::string const& name);

inline constexpr std::string_view malformedServiceFilter = "(x=1";

// Of the interfaces and of what randomServiceProperties() gives; possibly empty or malformed.
std::string randomServiceFilter(Random& random);

// Its properties, bundle, users and interfaces.
std::string describeService(cppmicroservices::ServiceReferenceU const& reference);

template <class Reference>
std::string namesOf(std::vector<Reference> const& references) {
    std::string names;
    for (auto const& reference : references) {
        names += " " + nameOf(reference);
    }
    return names;
}

// Gives objects, each of which has a name of its own, or fails in one of the ways in which a factory can.
// `Factory` is one of the two interfaces.
template <class Factory>
class FailingFactory : public Factory {
public:
    FailingFactory(std::string name, bool fails, std::uint64_t seed, CallLog& calls)
        : name_(std::move(name))
        , fails_(fails)
        , random_(seed)
        , calls_(calls) {}

    cppmicroservices::InterfaceMapConstPtr
    GetService(cppmicroservices::Bundle const& bundle,
               cppmicroservices::ServiceRegistrationBase const& registration) override {
        calls_.add(name_ + " for " + bundle.GetSymbolicName(), "get " + nameOf(registration.GetReference()));
        switch (fails_ ? random_.below(6) : 5) {
        case 0:
            throw std::logic_error("no service today");
        case 1:
            return {};
        case 2:
            return std::make_shared<cppmicroservices::InterfaceMap>();
        case 3:
            return cppmicroservices::MakeInterfaceMap<Second>(std::make_shared<Second>());
        default:
            break;
        }
        auto object = std::make_shared<Both>();
        object->name = name_ + "." + std::to_string(++made_);
        return cppmicroservices::MakeInterfaceMap<First, Second>(object);
    }

    void UngetService(cppmicroservices::Bundle const& bundle,
                      cppmicroservices::ServiceRegistrationBase const&,
                      cppmicroservices::InterfaceMapConstPtr const& service) override {
        auto const object = service ? cppmicroservices::ExtractInterface<First>(service) : nullptr;
        // Several objects of a prototype may come back in any order.
        calls_.add(name_ + " taking back " + (object ? object->name : "nothing"), bundle.GetSymbolicName());
        if (fails_ && random_.percent(30)) {
            throw std::runtime_error("no taking back today");
        }
    }

private:
    std::string const name_;
    bool const fails_;
    Random random_; // its own, as the order of the calls of several receivers is open
    CallLog& calls_;
    int made_ = 0;
};

// Tracks some services, refuses some, and fails for some.
class RecordingCustomizer : public cppmicroservices::ServiceTrackerCustomizer<First, std::string> {
public:
    using Reference = cppmicroservices::ServiceReference<First>;

    RecordingCustomizer(std::string name, std::uint64_t seed, CallLog& calls)
        : name_(std::move(name))
        , random_(seed)
        , calls_(calls) {}

    std::shared_ptr<std::string> AddingService(Reference const& reference) override {
        calls_.add(name_, "adding " + nameOf(reference));
        return random_.percent(20) ? nullptr : std::make_shared<std::string>("tracked " + nameOf(reference));
    }
    void ModifiedService(Reference const& reference, std::shared_ptr<std::string> const& object) override {
        calls_.add(name_, "modified " + nameOf(reference) + ", " + *object);
    }
    void RemovedService(Reference const& reference, std::shared_ptr<std::string> const& object) override {
        calls_.add(name_ + " removing " + nameOf(reference), *object); // in any order, when it is closed
    }

private:
    std::string const name_;
    Random random_; // its own, as the order of the calls of several receivers is open
    CallLog& calls_;
};

} // namespace randomised

#endif
