// The service registry: random sequences of operations of several bundles, with listeners, factories and
// trackers.
#include "services.hpp"

#include "StartedFramework.hpp"
#include "areas.hpp"
#include "transcript.hpp"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/ServiceEvent.h>
#include <cppmicroservices/ServiceObjects.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace randomised {

using namespace cppmicroservices;

namespace {

using Tracker = ServiceTracker<First, std::string>;

template <class Value>
std::string streamed(Value const& value) {
    std::ostringstream stream;
    stream << value;
    return stream.str();
}

class ServiceCase {
public:
    ServiceCase(Random& random, std::ostream& transcript)
        : random_(random)
        , transcript_(transcript) {
        bundles_ = {framework_.install("manifest_only"), framework_.install("recorder"), framework_.bundle()};
        for (auto& bundle : bundles_) {
            bundle.Start();
        }
        framework_.context().AddFrameworkListener([this](FrameworkEvent const& event) {
            std::string const error =
                event.GetThrowable() ? outcome([&] { rethrow_exception(event.GetThrowable()); }) : "";
            // As one receiver for each listener and factory that fails.
            calls_.add("framework " + error, streamed(event.GetType()) + " of " +
                                                 event.GetBundle().GetSymbolicName() + ": " +
                                                 event.GetMessage());
        });
    }

    void runStep() {
        static constexpr Step steps[] = {
            {"register", &ServiceCase::registerService},
            {"register", &ServiceCase::registerService},
            {"register factory", &ServiceCase::registerFactory},
            {"set properties", &ServiceCase::setProperties},
            {"set properties", &ServiceCase::setProperties},
            {"unregister", &ServiceCase::unregister},
            {"get", &ServiceCase::get},
            {"get", &ServiceCase::get},
            {"get object", &ServiceCase::getObject},
            {"release", &ServiceCase::release},
            {"release", &ServiceCase::release},
            {"find", &ServiceCase::find},
            {"find best", &ServiceCase::findBest},
            {"describe", &ServiceCase::describe},
            {"compare", &ServiceCase::compare},
            {"listen", &ServiceCase::listen},
            {"do not listen", &ServiceCase::stopListening},
            {"use", &ServiceCase::listUse},
            {"restart", &ServiceCase::restart},
            {"track", &ServiceCase::track},
            {"tracked", &ServiceCase::describeTracker},
            {"do not track", &ServiceCase::stopTracking},
        };
        auto const& step = random_.oneOf(steps);
        auto const result = (this->*step.run)();
        transcript_ << "  " << step.name << ' ' << result << '\n';
        calls_.flush(transcript_);
        transcript_ << std::flush; // lest a crash takes it away
    }

private:
    struct Step {
        std::string_view name;
        std::string (ServiceCase::*run)();
    };
    struct Registered {
        ServiceRegistrationU registration;
        ServiceReferenceU reference;
    };

    Bundle& anyBundle() { return bundles_[random_.below(bundles_.size())]; }
    Registered& anyRegistered() { return registered_[random_.below(registered_.size())]; }

    // Its reference and its registration are kept, whatever becomes of it.
    template <class Register>
    std::string registerWith(Register const& registration, std::string_view suffix = {}) {
        auto const number = std::to_string(++services_).append(suffix);
        auto const properties = randomServiceProperties(random_, number);
        auto& bundle = anyBundle();
        return "#" + number + " by " + bundle.GetSymbolicName() + " " + outcome([&] {
                   Registered registered{registration(bundle.GetBundleContext(), properties, number), {}};
                   registered.reference = registered.registration.GetReference();
                   registered_.push_back(registered);
               });
    }

    std::string registerService() {
        auto const kind = random_.below(5);
        return registerWith(
            [kind](BundleContext context, ServiceProperties const& properties, std::string const& number) {
                auto const service = std::make_shared<Both>();
                service->name = "object of " + number;
                switch (kind) {
                case 0:
                    return ServiceRegistrationU(context.RegisterService<Second>(service, properties));
                case 1:
                case 2:
                    return ServiceRegistrationU(context.RegisterService<First, Second>(service, properties));
                default:
                    return ServiceRegistrationU(context.RegisterService<First>(service, properties));
                }
            });
    }

    std::string registerFactory() {
        bool const fails = random_.percent(30);
        auto const kind = random_.below(3);
        auto const seed = random_.bits();
        return registerWith(
            [&](BundleContext context, ServiceProperties const& properties, std::string const& number) {
                auto const name = "factory " + number;
                if (kind == 0) {
                    auto const factory =
                        std::make_shared<FailingFactory<PrototypeServiceFactory>>(name, fails, seed, calls_);
                    return ServiceRegistrationU(
                        context.RegisterService<First>(ToFactory(factory), properties));
                }
                auto const factory =
                    std::make_shared<FailingFactory<ServiceFactory>>(name, fails, seed, calls_);
                if (kind == 1) {
                    return ServiceRegistrationU(
                        context.RegisterService<First>(ToFactory(factory), properties));
                }
                return ServiceRegistrationU(
                    context.RegisterService<First, Second>(ToFactory(factory), properties));
            },
            fails ? failingSuffix : std::string_view());
    }

    std::string setProperties() {
        if (registered_.empty()) {
            return "of none";
        }
        auto& registered = anyRegistered();
        auto const name = nameOf(registered.reference);
        auto const properties = randomServiceProperties(random_, name.substr(1));
        return name + " " + outcome([&] { registered.registration.SetProperties(properties); });
    }

    std::string unregister() {
        if (registered_.empty()) {
            return "none";
        }
        auto& registered = anyRegistered();
        return nameOf(registered.reference) + " " + outcome([&] { registered.registration.Unregister(); });
    }

    // With the installed provider, an empty pointer counts as a use if it comes from a factory that failed.
    void hold(std::shared_ptr<First> const& object) {
        if (object) {
            held_.push_back(object);
        }
    }

    static std::string describeObject(std::shared_ptr<First> const& object) {
        return object ? object->name : "nothing";
    }

    std::string get() {
        if (registered_.empty()) {
            return "none";
        }
        auto const reference = anyRegistered().reference;
        auto context = anyBundle().GetBundleContext();
        bool const untyped = random_.percent(30);
        return nameOf(reference) + " " + outcome([&] {
                   std::shared_ptr<First> object;
                   if (untyped) {
                       auto const service = context.GetService(reference);
                       object = service ? ExtractInterface<First>(service) : nullptr;
                   } else {
                       object = context.GetService(ServiceReference<First>(reference));
                   }
                   hold(object);
                   return describeObject(object);
               });
    }

    std::string getObject() {
        if (registered_.empty()) {
            return "none";
        }
        auto const reference = anyRegistered().reference;
        if (mayFail(reference)) { // the installed provider crashes when a prototype's factory gives nothing
            return "not";
        }
        // Not of a bundle that stops: the installed provider does not take back its objects of a prototype
        // then.
        auto context = framework_.context();
        return nameOf(reference) + " " + outcome([&] {
                   auto object = context.GetServiceObjects(ServiceReference<First>(reference)).GetService();
                   hold(object);
                   return describeObject(object);
               });
    }

    std::string release() {
        if (held_.empty()) {
            return "none";
        }
        auto const place = held_.begin() + static_cast<std::ptrdiff_t>(random_.below(held_.size()));
        auto const name = describeObject(*place);
        held_.erase(place);
        return name;
    }

    std::string find() {
        static std::string const interfaces[] = {"", "randomised::First", "randomised::Second", "nothing"};
        auto const& interfaceId = random_.oneOf(interfaces);
        auto const filter = randomServiceFilter(random_);
        auto context = anyBundle().GetBundleContext();
        return interfaceId + " " + filter + " " +
               outcome([&] { return namesOf(context.GetServiceReferences(interfaceId, filter)); });
    }

    std::string findBest() {
        auto context = anyBundle().GetBundleContext();
        return outcome([&] {
            return nameOf(context.GetServiceReference<First>()) +
                   nameOf(context.GetServiceReference<Second>());
        });
    }

    std::string describe() {
        if (registered_.empty()) {
            return "none";
        }
        return describeService(anyRegistered().reference);
    }

    std::string compare() {
        if (registered_.empty()) {
            return "none";
        }
        auto const& left = anyRegistered();
        auto const& right = anyRegistered();
        // With the installed provider, a registration changes its place among the others when its service is
        // unregistered.
        bool const ordered = left.reference && right.reference;
        return nameOf(left.reference) + nameOf(right.reference) + textOf(left.reference < right.reference) +
               textOf(left.reference == right.reference) + textOf(left.registration == right.registration) +
               (ordered ? textOf(left.registration < right.registration) : "");
    }

    std::string listen() {
        auto const name = "listener " + std::to_string(++listeners_);
        auto const filter = randomServiceFilter(random_);
        bool const throws = random_.percent(10);
        auto context = anyBundle().GetBundleContext();
        return name + " " + filter + " " + outcome([&] {
                   auto token = context.AddServiceListener(
                       [this, name, throws](ServiceEvent const& event) {
                           calls_.add(name,
                                      streamed(event.GetType()) + " " + nameOf(event.GetServiceReference()));
                           if (throws) {
                               throw std::runtime_error(name + " fails");
                           }
                       },
                       filter);
                   tokens_.emplace_back(context, std::move(token));
               });
    }

    std::string stopListening() {
        if (tokens_.empty()) {
            return "none";
        }
        auto const place = tokens_.begin() + static_cast<std::ptrdiff_t>(random_.below(tokens_.size()));
        auto [context, token] = std::move(*place);
        tokens_.erase(place);
        return outcome([&, &context = context, &token = token] { context.RemoveListener(std::move(token)); });
    }

    std::string listUse() {
        auto const& bundle = anyBundle();
        return bundle.GetSymbolicName() + outcome([&] {
                   auto registered = bundle.GetRegisteredServices();
                   auto used = bundle.GetServicesInUse();
                   used.erase(std::remove_if(used.begin(), used.end(), mayFail), used.end());
                   std::sort(registered.begin(), registered.end());
                   std::sort(used.begin(), used.end());
                   return " registered" + namesOf(registered) + ", uses" + namesOf(used);
               });
    }

    // The framework itself goes on running.
    std::string restart() {
        auto& bundle = bundles_[random_.below(bundles_.size() - 1)];
        bool const starts = bundle.GetState() != Bundle::STATE_ACTIVE;
        if (!starts && random_.percent(70)) {
            return "not";
        }
        held_.clear(); // with the installed provider, the objects of one run of a bundle count in the next
        return bundle.GetSymbolicName() + " " + outcome([&] { starts ? bundle.Start() : bundle.Stop(); });
    }

    std::string track() {
        auto const name = "tracker " + std::to_string(++trackers_);
        auto const filter = random_.percent(50) ? "(objectclass=randomised::First)"
                                                : "(&(objectclass=randomised::First)(x>=1))";
        auto context = anyBundle().GetBundleContext();
        ServiceReference<First> const reference =
            registered_.empty() ? ServiceReferenceU() : anyRegistered().reference;
        // The installed provider crashes when it tracks no reference.
        auto const kind = reference == ServiceReference<First>() ? 1 + random_.below(2) : random_.below(3);
        auto const seed = random_.bits();
        return name + " " + std::to_string(kind) + " " + outcome([&] {
                   auto customizer = std::make_unique<RecordingCustomizer>(name, seed, calls_);
                   std::unique_ptr<Tracker> tracker;
                   if (kind == 0) {
                       tracker = std::make_unique<Tracker>(context, reference, customizer.get());
                   } else if (kind == 1) {
                       tracker = std::make_unique<Tracker>(context, LDAPFilter(filter), customizer.get());
                   } else {
                       tracker = std::make_unique<Tracker>(context, customizer.get());
                   }
                   tracker->Open();
                   customizers_.push_back(std::move(customizer));
                   open_.push_back(std::move(tracker));
               });
    }

    std::string describeTracker() {
        if (open_.empty()) {
            return "none";
        }
        auto& tracker = *open_[random_.below(open_.size())];
        auto references = tracker.GetServiceReferences();
        std::sort(references.begin(), references.end());
        return std::to_string(tracker.Size()) + " " + std::to_string(tracker.GetTrackingCount()) +
               namesOf(references) + " " + outcome([&] { return nameOf(tracker.GetServiceReference()); }) +
               outcome([&] {
                   auto const service = tracker.GetService();
                   return service ? *service : "nothing";
               });
    }

    std::string stopTracking() {
        if (open_.empty()) {
            return "none";
        }
        auto& tracker = *open_[random_.below(open_.size())];
        return outcome([&] { tracker.Close(); });
    }

    Random& random_;
    std::ostream& transcript_;
    CallLog calls_; // outlives the framework, whose end calls the factories
    StartedFramework framework_;
    std::vector<Bundle> bundles_;
    std::vector<Registered> registered_;
    std::vector<std::shared_ptr<First>> held_;
    std::vector<std::pair<BundleContext, ListenerToken>> tokens_;
    std::vector<std::unique_ptr<RecordingCustomizer>> customizers_;
    std::vector<std::unique_ptr<Tracker>> open_;
    int services_ = 0;
    int listeners_ = 0;
    int trackers_ = 0;
};

} // namespace

void runServiceCase(Random& random, std::ostream& transcript) {
    ServiceCase services(random, transcript);
    for (int step = 0; step < 80; ++step) {
        services.runStep();
    }
}

} // namespace randomised
