// The service registry: operations that run inside the calls of a listener, a tracker's customizer and
// service factories, and inside the calls that those cause.
#include "services.hpp"

#include "StartedFramework.hpp"
#include "areas.hpp"
#include "transcript.hpp"

#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/ServiceEvent.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace randomised {

using namespace cppmicroservices;

namespace {

// Tells of each call, by actions that may do anything.
class ActingFactory : public ServiceFactory {
public:
    using Action = std::function<void(std::string const&)>;

    ActingFactory(std::string name, Action give, Action takeBack)
        : name_(std::move(name))
        , give_(std::move(give))
        , takeBack_(std::move(takeBack)) {}

    InterfaceMapConstPtr GetService(Bundle const& bundle, ServiceRegistrationBase const&) override {
        give_(name_ + " gives to " + bundle.GetSymbolicName());
        auto object = std::make_shared<Both>();
        object->name = name_ + "." + std::to_string(++made_);
        return MakeInterfaceMap<First, Second>(object);
    }

    void UngetService(Bundle const& bundle, ServiceRegistrationBase const&,
                      InterfaceMapConstPtr const& service) override {
        takeBack_(name_ + " takes back " + ExtractInterface<First>(service)->name + " from " +
                  bundle.GetSymbolicName());
    }

private:
    std::string const name_;
    Action const give_;
    Action const takeBack_;
    int made_ = 0;
};

using Customizer = ServiceTrackerCustomizer<First, std::string>;

// In which order several receivers are called is open, so there is one, a listener or a tracker, and one
// user.
class CallbackCase : private Customizer {
public:
    CallbackCase(Random& random, std::ostream& transcript)
        : random_(random)
        , transcript_(transcript)
        , listens_(random.percent(50)) {
        bundle_.Start();
        framework_.context().AddFrameworkListener([this](FrameworkEvent const& event) {
            say("framework event of " + event.GetBundle().GetSymbolicName() + ": " + event.GetMessage());
        });
    }

    ~CallbackCase() override {
        quiet_ = true; // what the end of the framework calls does nothing more
        tracker_.reset();
        held_.clear();
    }

    void runStep() {
        nestedLeft_ = 4;
        runOperation();
    }

private:
    struct Operation {
        std::string_view name;
        std::string (CallbackCase::*run)();
    };
    struct Registered {
        std::string name;
        bool byBundle; // not by the framework
        ServiceRegistrationU registration;
        ServiceReferenceU reference; // the registration gives none once it has ended
    };

    // Without what the callbacks do and say: a tracker that is opened or closed calls them in any order.
    template <class Action>
    void quietly(Action const& action) {
        bool const before = std::exchange(quiet_, true);
        action();
        quiet_ = before;
    }

    void say(std::string const& text) {
        if (!quiet_) {
            transcript_ << std::string(2 * depth_, ' ') << text << std::endl; // lest a crash takes it away
        }
    }

    void runOperation() {
        static constexpr Operation operations[] = {
            {"register", &CallbackCase::registerService},
            {"register", &CallbackCase::registerService},
            {"set properties", &CallbackCase::setProperties},
            {"set properties", &CallbackCase::setProperties},
            {"unregister", &CallbackCase::unregister},
            {"unregister", &CallbackCase::unregister},
            {"get", &CallbackCase::get},
            {"release", &CallbackCase::release},
            {"find", &CallbackCase::find},
            {"describe", &CallbackCase::describe},
            {"begin to receive", &CallbackCase::beginToReceive},
            {"end to receive", &CallbackCase::endToReceive},
            {"stop", &CallbackCase::stop},
        };
        auto const& operation = random_.oneOf(operations);
        say(std::string(operation.name));
        ++depth_;
        auto const result = (this->*operation.run)();
        say("-> " + result);
        --depth_;
    }

    // What a callback does.
    void act(std::string const& call) {
        say(call);
        ++depth_;
        while (!quiet_ && nestedLeft_ > 0 && random_.percent(50)) {
            --nestedLeft_;
            runOperation();
        }
        --depth_;
    }

    void give(std::string const& name, std::string const& call) {
        given_.push_back(name);
        act(call);
        given_.pop_back();
    }

    void takeBack(std::string const& call) {
        bool const before = std::exchange(takesBack_, true);
        act(call);
        takesBack_ = before;
    }

    // Whether it is one of those, or goes with its bundle.
    bool isAnyOf(std::vector<std::string> const& names, Registered const& registered) const {
        return std::find(names.begin(), names.end(), registered.name) != names.end() ||
               (stops_ && registered.byBundle);
    }

    // A copy, as operations inside an operation add others.
    Registered anyRegistered() { return registered_[random_.below(registered_.size())]; }

    std::string registerService() {
        auto const number = std::to_string(++services_);
        auto const properties = randomServiceProperties(random_, number);
        // In which order a bundle's services go when it stops is open, so it has one.
        bool const byBundle = bundle_.GetState() == Bundle::STATE_ACTIVE &&
                              bundle_.GetRegisteredServices().empty() && random_.percent(50);
        auto context = byBundle ? bundle_.GetBundleContext() : framework_.context();
        bool const made = random_.percent(40);
        return "#" + number + (byBundle ? " of the bundle " : " ") + outcome([&] {
                   ServiceRegistrationU registration;
                   if (made) {
                       registration = context.RegisterService<First>(
                           ToFactory(std::make_shared<ActingFactory>(
                               "factory " + number,
                               [this, number](std::string const& call) { give(number, call); },
                               [this](std::string const& call) { takeBack(call); })),
                           properties);
                   } else {
                       auto const service = std::make_shared<Both>();
                       service->name = "object of " + number;
                       registration = context.RegisterService<First, Second>(service, properties);
                   }
                   registered_.push_back({number, byBundle, registration, registration.GetReference()});
               });
    }

    std::string setProperties() {
        if (registered_.empty()) {
            return "none";
        }
        auto registered = anyRegistered();
        if (!listens_ && isAnyOf(leaving_, registered)) {
            return "not"; // the installed provider's tracker would track the service again
        }
        auto const properties = randomServiceProperties(random_, registered.name);
        return "#" + registered.name + " " +
               outcome([&] { registered.registration.SetProperties(properties); });
    }

    std::string unregister() {
        if (registered_.empty()) {
            return "none";
        }
        auto registered = anyRegistered();
        if (isAnyOf(given_, registered)) {
            return "not"; // the installed provider would give its object all the same, and never take it back
        }
        leaving_.push_back(registered.name);
        auto result = "#" + registered.name + " " + outcome([&] { registered.registration.Unregister(); });
        leaving_.pop_back();
        return result;
    }

    std::string get() {
        if (registered_.empty()) {
            return "none";
        }
        auto const registered = anyRegistered();
        // The installed provider answers recursive calls of a factory with an object from the second one on.
        if (takesBack_ || isAnyOf(given_, registered)) {
            return "not";
        }
        return "#" + registered.name + " " + outcome([&] {
                   auto const object =
                       framework_.context().GetService(ServiceReference<First>(registered.reference));
                   if (!object) {
                       return std::string("nothing");
                   }
                   held_.push_back(object);
                   return object->name;
               });
    }

    std::string release() {
        if (held_.empty()) {
            return "none";
        }
        if (takesBack_) { // the installed provider may have it taken back a second time
            return "not";
        }
        auto const place = held_.begin() + static_cast<std::ptrdiff_t>(random_.below(held_.size()));
        auto object = std::move(*place);
        held_.erase(place);
        auto const name = object->name;
        object.reset();
        return name;
    }

    std::string find() {
        auto const filter = randomServiceFilter(random_);
        if (filter == malformedServiceFilter) {
            // The installed provider does not look at it where no service has the interface, but does where
            // one had it whose properties were changed while it was unregistered.
            return "not";
        }
        return filter + " " + outcome([&] {
                   return namesOf(framework_.context().GetServiceReferences("randomised::First", filter));
               });
    }

    std::string describe() {
        if (registered_.empty()) {
            return "none";
        }
        // Who still uses a service whose objects are being taken back is open.
        return takesBack_ ? "not" : describeService(anyRegistered().reference);
    }

    std::string beginToReceive() {
        auto const filter = randomServiceFilter(random_);
        return filter + " " + outcome([&] {
                   if (!listens_) {
                       if (!tracker_) {
                           tracker_ = std::make_unique<ServiceTracker<First, std::string>>(
                               framework_.context(), static_cast<Customizer*>(this));
                       }
                       quietly([this] { tracker_->Open(); });
                   } else if (!token_) {
                       token_ = framework_.context().AddServiceListener(
                           [this](ServiceEvent const& event) {
                               std::ostringstream text;
                               text << event.GetType() << ' ' << nameOf(event.GetServiceReference());
                               act(text.str());
                           },
                           filter);
                   }
               });
    }

    std::string endToReceive() {
        if (tracker_ && depth_ > 2) { // the installed provider may wait for ever for the call that it is in
            return "not";
        }
        return outcome([&] {
            if (tracker_) {
                quietly([this] { tracker_->Close(); });
            }
            framework_.context().RemoveListener(std::exchange(token_, {}));
        });
    }

    std::string stop() {
        // The installed provider waits for ever for the call that it is in, and see unregister().
        if (stops_ || std::any_of(registered_.begin(), registered_.end(), [this](auto const& registered) {
                return registered.byBundle && isAnyOf(given_, registered);
            })) {
            return "not";
        }
        stops_ = true;
        auto result =
            outcome([&] { bundle_.GetState() == Bundle::STATE_ACTIVE ? bundle_.Stop() : bundle_.Start(); });
        stops_ = false;
        return result;
    }

    std::shared_ptr<std::string> AddingService(ServiceReference<First> const& reference) override {
        act("adding " + nameOf(reference));
        return std::make_shared<std::string>(nameOf(reference));
    }
    void ModifiedService(ServiceReference<First> const&,
                         std::shared_ptr<std::string> const& object) override {
        act("modified " + *object);
    }
    void RemovedService(ServiceReference<First> const&, std::shared_ptr<std::string> const& object) override {
        act("removed " + *object);
    }

    Random& random_;
    std::ostream& transcript_;
    bool const listens_; // or tracks
    bool quiet_ = false;
    bool stops_ = false;               // or starts
    bool takesBack_ = false;           // a factory does
    std::vector<std::string> leaving_; // the services that are being unregistered
    std::vector<std::string> given_;   // those whose factories are giving objects
    std::size_t depth_ = 1;
    int nestedLeft_ = 0;
    int services_ = 0;
    StartedFramework framework_;
    Bundle bundle_ = framework_.install("manifest_only");
    std::vector<Registered> registered_;
    std::vector<std::shared_ptr<First>> held_;
    std::unique_ptr<ServiceTracker<First, std::string>> tracker_;
    ListenerToken token_;
};

} // namespace

void runCallbackCase(Random& random, std::ostream& transcript) {
    CallbackCase callbacks(random, transcript);
    for (int step = 0; step < 40; ++step) {
        callbacks.runStep();
    }
}

} // namespace randomised
