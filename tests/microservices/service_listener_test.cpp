// Service events and who is told of them.
#include "FrameworkFixture.hpp"

#include <cppmicroservices/Constants.h>

#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

using namespace cppmicroservices;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace listenertest {
struct First {};
struct Second {};
struct Both : First, Second {};
} // namespace listenertest

using namespace listenertest;
using ServiceListenerTest = FrameworkTest;

TEST_F(ServiceListenerTest, ListenerWithoutFilterHearsOfEverything) {
    recordServiceEvents();
    auto registration = context().RegisterService<First>(std::make_shared<First>(), {{"x", 1}});
    registration.SetProperties({{"x", 2}});
    registration.Unregister();
    EXPECT_THAT(serviceEvents_.take(), ElementsAre("REGISTERED 1", "MODIFIED 2", "UNREGISTERING 2"));
}

TEST_F(ServiceListenerTest, ListenerWithFilterHearsOfWhatMatches) {
    recordServiceEvents("(x=1)");
    auto registration = context().RegisterService<First>(std::make_shared<First>(), {{"x", 2}});
    registration.SetProperties({{"x", 1}});
    registration.SetProperties({{"x", 1}, {"y", 1}});
    registration.SetProperties({{"x", 3}});
    registration.SetProperties({{"x", 4}});
    registration.Unregister();
    EXPECT_THAT(serviceEvents_.take(), ElementsAre("MODIFIED 1", "MODIFIED 1", "MODIFIED_ENDMATCH 3"));
}

TEST_F(ServiceListenerTest, ListenerForAnInterfaceHearsOfServicesWithIt) {
    recordServiceEvents("(objectclass=listenertest::Second)");
    auto const other = context().RegisterService<First>(std::make_shared<First>(), {{"x", 1}});
    auto registration = context().RegisterService<First, Second>(std::make_shared<Both>(), {{"x", 2}});
    registration.SetProperties({{"x", 3}});
    registration.Unregister();
    EXPECT_THAT(serviceEvents_.take(), ElementsAre("REGISTERED 2", "MODIFIED 3", "UNREGISTERING 3"));
}

TEST_F(ServiceListenerTest, ListenerForAnInterfaceAndMoreHearsOfWhatMatchesBoth) {
    recordServiceEvents("(&(objectclass=listenertest::First)(x=1))");
    auto const second = context().RegisterService<Second>(std::make_shared<Second>(), {{"x", 1}});
    auto registration = context().RegisterService<First>(std::make_shared<First>(), {{"x", 1}});
    registration.SetProperties({{"x", 2}});
    registration.Unregister();
    EXPECT_THAT(serviceEvents_.take(), ElementsAre("REGISTERED 1", "MODIFIED_ENDMATCH 2"));
}

TEST_F(ServiceListenerTest, ServiceUnderSeveralInterfacesIsReportedOnceToEachListener) {
    recordServiceEvents("(|(objectclass=listenertest::First)(objectclass=listenertest::Second))");
    auto const registration = context().RegisterService<First, Second>(std::make_shared<Both>());
    EXPECT_THAT(serviceEvents_.take(), ElementsAre("REGISTERED -"));
}

TEST_F(ServiceListenerTest, MalformedFilterIsRefused) {
    EXPECT_THROW(context().AddServiceListener([](ServiceEvent const&) {}, "(x=1"), std::invalid_argument);
}

TEST_F(ServiceListenerTest, RemovedListenerHearsNothing) {
    auto token = recordServiceEvents();
    context().RemoveListener(std::move(token));
    auto const registration = context().RegisterService<First>(std::make_shared<First>());
    EXPECT_THAT(serviceEvents_.take(), IsEmpty());
}

TEST_F(ServiceListenerTest, ListenerThatAnotherRemovesDuringADeliveryHearsNothing) {
    // Who is told first is not said, so each removes the other.
    int told = 0;
    ListenerToken first;
    ListenerToken second;
    first = context().AddServiceListener([&](ServiceEvent const&) {
        ++told;
        context().RemoveListener(std::move(second));
    });
    second = context().AddServiceListener([&](ServiceEvent const&) {
        ++told;
        context().RemoveListener(std::move(first));
    });
    auto const registration = context().RegisterService<First>(std::make_shared<First>());
    EXPECT_EQ(told, 1);
}

// With many listeners the installed provider keeps to no order.
TEST_F(ServiceListenerTest, AFewAreToldLatestFirstAndThoseForAnInterfaceBeforeTheOthers) {
    std::string order;
    std::vector<ListenerToken> tokens;
    auto const listen = [&](char name, std::string const& filter) {
        tokens.push_back(
            context().AddServiceListener([&order, name](ServiceEvent const&) { order += name; }, filter));
    };
    std::string const interface = "(objectclass=listenertest::First)";
    listen('a', "");
    listen('b', interface);
    listen('c', "(&" + interface + "(x=1))");
    listen('d', "(x=1)");
    listen('e', interface);
    auto registration = context().RegisterService<First>(std::make_shared<First>(), {{"x", 1}});
    EXPECT_EQ(std::exchange(order, ""), "ebdca");
    registration.SetProperties({{"x", 1}});
    EXPECT_EQ(std::exchange(order, ""), "ebdca");
    registration.Unregister();
    EXPECT_EQ(order, "ebdca");
    for (auto& token : tokens) {
        context().RemoveListener(std::move(token));
    }
}

TEST_F(ServiceListenerTest, AFewListenersToBundlesAndTheFrameworkAreToldLatestFirst) {
    std::string order;
    std::vector<ListenerToken> tokens;
    for (char const name : {'a', 'b', 'c'}) {
        tokens.push_back(context().AddBundleListener([&order, name](BundleEvent const&) {
            order += name;
            throw std::runtime_error("for the framework's listeners");
        }));
    }
    for (char const name : {'x', 'y', 'z'}) {
        tokens.push_back(
            context().AddFrameworkListener([&order, name](FrameworkEvent const&) { order += name; }));
    }
    install("manifest_only");
    EXPECT_EQ(order, "czyxbzyxazyx");
    for (auto& token : tokens) {
        context().RemoveListener(std::move(token));
    }
}

TEST_F(ServiceListenerTest, StoppingBundleDoesNotHearOfTheEndOfItsServices) {
    auto bundle = start("manifest_only");
    auto own = bundle.GetBundleContext();
    bool heard = false;
    own.AddServiceListener([&heard](ServiceEvent const& event) {
        heard = heard || event.GetType() == ServiceEvent::SERVICE_UNREGISTERING;
    });
    own.RegisterService<First>(std::make_shared<First>());
    recordServiceEvents();
    bundle.Stop();
    EXPECT_FALSE(heard);
    EXPECT_THAT(serviceEvents_.take(), ElementsAre("UNREGISTERING -"));
}

// The forms of earlier releases, which bundles still use.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace {

struct Receiver {
    void service(ServiceEvent const&) { ++calls; }
    void bundle(BundleEvent const&) { ++calls; }
    void framework(FrameworkEvent const&) { ++calls; }
    int calls = 0;
};

int plainCalls = 0;
template <class Event>
void plainListener(Event const&) {
    ++plainCalls;
}

} // namespace

TEST_F(ServiceListenerTest, MemberFunctionIsCalledUntilItIsRemoved) {
    Receiver receiver;
    context().AddServiceListener(&receiver, &Receiver::service);
    auto const heard = context().RegisterService<First>(std::make_shared<First>());
    EXPECT_EQ(receiver.calls, 1);
    context().RemoveServiceListener(&receiver, &Receiver::service);
    auto const unheard = context().RegisterService<First>(std::make_shared<First>());
    EXPECT_EQ(receiver.calls, 1);
}

TEST_F(ServiceListenerTest, MemberFunctionThatIsAddedAgainHasTheNewFilterOnly) {
    Receiver receiver;
    context().AddServiceListener(&receiver, &Receiver::service);
    context().AddServiceListener(&receiver, &Receiver::service, "(x=1)");
    auto const unheard = context().RegisterService<First>(std::make_shared<First>(), {{"x", 2}});
    EXPECT_EQ(receiver.calls, 0);
    auto const heard = context().RegisterService<First>(std::make_shared<First>(), {{"x", 1}});
    EXPECT_EQ(receiver.calls, 1);
}

TEST_F(ServiceListenerTest, MemberFunctionsOfOtherReceiversStay) {
    Receiver removed;
    Receiver stays;
    context().AddServiceListener(&removed, &Receiver::service);
    context().AddServiceListener(&stays, &Receiver::service);
    context().RemoveServiceListener(&removed, &Receiver::service);
    auto const registration = context().RegisterService<First>(std::make_shared<First>());
    EXPECT_EQ(removed.calls, 0);
    EXPECT_EQ(stays.calls, 1);
}

TEST_F(ServiceListenerTest, PlainFunctionIsCalledUntilItIsRemoved) {
    plainCalls = 0;
    context().AddServiceListener(plainListener<ServiceEvent>);
    auto const heard = context().RegisterService<First>(std::make_shared<First>());
    context().RemoveServiceListener(plainListener<ServiceEvent>);
    auto const unheard = context().RegisterService<First>(std::make_shared<First>());
    EXPECT_EQ(plainCalls, 1);
}

TEST_F(ServiceListenerTest, PlainFunctionsListenToBundlesAndTheFrameworkToo) {
    plainCalls = 0;
    context().AddBundleListener(plainListener<BundleEvent>);
    install("recorder");
    EXPECT_EQ(plainCalls, 1);
    context().RemoveBundleListener(plainListener<BundleEvent>);
    context().AddFrameworkListener(plainListener<FrameworkEvent>);
    context().AddBundleListener([](BundleEvent const&) { throw std::runtime_error("no events today"); });
    install("manifest_only");
    EXPECT_EQ(plainCalls, 2);
    context().RemoveFrameworkListener(plainListener<FrameworkEvent>);
    install("scripted_one");
    EXPECT_EQ(plainCalls, 2);
}

TEST_F(ServiceListenerTest, MemberFunctionsListenToBundlesAndTheFrameworkToo) {
    Receiver receiver;
    context().AddBundleListener(&receiver, &Receiver::bundle);
    install("recorder");
    EXPECT_EQ(receiver.calls, 1);
    context().RemoveBundleListener(&receiver, &Receiver::bundle);
    context().AddFrameworkListener(&receiver, &Receiver::framework);
    auto failing =
        context().AddBundleListener([](BundleEvent const&) { throw std::runtime_error("no events today"); });
    install("manifest_only");
    EXPECT_EQ(receiver.calls, 2);
    context().RemoveListener(std::move(failing));
    context().RemoveFrameworkListener(&receiver, &Receiver::framework);
    start("recorder");
    EXPECT_EQ(receiver.calls, 2);
}

#pragma GCC diagnostic pop

TEST_F(ServiceListenerTest, ServiceIsFoundAndGotInsideItsRegisteredEvent) {
    bool found = false;
    context().AddServiceListener([this, &found](ServiceEvent const& event) {
        found = !context().GetServiceReferences<First>().empty() &&
                context().GetService(event.GetServiceReference<First>()) != nullptr;
    });
    auto const registration = context().RegisterService<First>(std::make_shared<First>());
    EXPECT_TRUE(found);
}

TEST_F(ServiceListenerTest, ServiceIsNotFoundButCanBeGotInsideItsUnregisteringEvent) {
    auto registration = context().RegisterService<First>(std::make_shared<First>());
    bool found = true;
    bool got = false;
    context().AddServiceListener([&](ServiceEvent const& event) {
        found = !context().GetServiceReferences<First>().empty();
        got = context().GetService(event.GetServiceReference<First>()) != nullptr;
    });
    registration.Unregister();
    EXPECT_FALSE(found);
    EXPECT_TRUE(got);
}

TEST_F(ServiceListenerTest, RegistrationGivesReferencesInsideItsUnregisteringEvent) {
    auto registration = context().RegisterService<First>(std::make_shared<First>());
    bool same = false;
    context().AddServiceListener([&](ServiceEvent const& event) {
        same = event.GetServiceReference() == registration.GetReference();
    });
    registration.Unregister();
    EXPECT_TRUE(same);
}

TEST_F(ServiceListenerTest, UnregisteringAgainInsideTheUnregisteringEventDoesNothing) {
    auto registration = context().RegisterService<First>(std::make_shared<First>(), {{"x", 1}});
    context().AddServiceListener([&](ServiceEvent const&) {
        registration.Unregister();
        std::async(std::launch::async, [&] { registration.Unregister(); }).get();
    });
    recordServiceEvents();
    recordFrameworkEvents();
    registration.Unregister();
    EXPECT_THAT(serviceEvents_.take(), ElementsAre("UNREGISTERING 1"));
    EXPECT_THAT(frameworkEvents_.take(), IsEmpty()) << "what a listener threw";
    EXPECT_THROW(registration.Unregister(), std::logic_error);
}

TEST_F(ServiceListenerTest, PropertiesMayBeSetInsideTheUnregisteringEvent) {
    auto registration = context().RegisterService<First>(std::make_shared<First>(), {{"x", 1}});
    auto const reference = registration.GetReference();
    context().AddServiceListener([&](ServiceEvent const& event) {
        if (event.GetType() == ServiceEvent::SERVICE_UNREGISTERING) {
            registration.SetProperties({{"x", 2}, {Constants::SERVICE_RANKING, 3}});
        }
    });
    recordServiceEvents();
    registration.Unregister();
    EXPECT_THAT(serviceEvents_.take(), Contains("MODIFIED 2"));
    EXPECT_EQ(any_cast<int>(reference.GetProperty("x")), 2);
    EXPECT_THAT(context().GetServiceReferences<First>(), IsEmpty());
    EXPECT_THROW(registration.SetProperties({}), std::logic_error);
}

TEST_F(ServiceListenerTest, ListenerMayRegisterAndUnregisterServices) {
    ServiceRegistration<Second> second;
    context().AddServiceListener(
        [&](ServiceEvent const& event) {
            if (event.GetType() == ServiceEvent::SERVICE_REGISTERED) {
                second = context().RegisterService<Second>(std::make_shared<Second>());
            } else {
                second.Unregister();
            }
        },
        "(objectclass=listenertest::First)");
    auto first = context().RegisterService<First>(std::make_shared<First>());
    EXPECT_TRUE(context().GetServiceReference<Second>());
    first.Unregister();
    EXPECT_FALSE(context().GetServiceReference<Second>());
}

TEST_F(ServiceListenerTest, ListenerThatThrowsIsReportedAndTheOthersAreCalled) {
    recordFrameworkEvents();
    context().AddServiceListener([](ServiceEvent const&) { throw std::runtime_error("no services today"); });
    recordServiceEvents();
    auto const registration = context().RegisterService<First>(std::make_shared<First>());
    EXPECT_THAT(frameworkEvents_.take(),
                ElementsAre("ERROR system_bundle Service listener in system_bundle threw an exception!: "
                            "no services today"));
    EXPECT_THAT(serviceEvents_.take(), ElementsAre("REGISTERED -"));
}

TEST_F(ServiceListenerTest, EventsAndTheirTypesHaveTexts) {
    auto registration = context().RegisterService<First>(std::make_shared<First>());
    ServiceEvent const event(ServiceEvent::SERVICE_MODIFIED, registration.GetReference());
    EXPECT_EQ(textOf(event), "MODIFIED " +
                                 registration.GetReference().GetProperty(Constants::SERVICE_ID).ToString() +
                                 " objectClass=[listenertest::First])");
    EXPECT_FALSE(ServiceEvent());
    EXPECT_EQ(textOf(ServiceEvent()), "NONE");
    EXPECT_EQ(textOf(ServiceEvent(ServiceEvent::SERVICE_MODIFIED, ServiceReferenceU())), "MODIFIED");
    registration.Unregister();
    EXPECT_EQ(textOf(event), "MODIFIED");
    EXPECT_EQ(textOf(ServiceEvent::SERVICE_MODIFIED_ENDMATCH), "MODIFIED_ENDMATCH");
    EXPECT_EQ(textOf(ServiceEvent::Type(99)), "unknown service event type (99)");
}
