// Registering, finding, changing and getting services.
#include "FrameworkFixture.hpp"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/ServiceObjects.h>

#include <atomic>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <thread>

using namespace cppmicroservices;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace registrytest {
struct First {
    virtual ~First() = default;
    int value = 1;
};
struct Second {
    virtual ~Second() = default;
    int value = 2;
};
struct Both : First, Second {};
struct Named {};
} // namespace registrytest

CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(registrytest::Named, "a name (of) its own")

using namespace registrytest;
using ServiceRegistryTest = FrameworkTest;

namespace {

template <class Reference>
long idOf(Reference const& reference) {
    return any_cast<long>(reference.GetProperty(Constants::SERVICE_ID));
}

std::vector<long> idsOf(std::vector<ServiceReference<First>> const& references) {
    std::vector<long> ids;
    for (auto const& reference : references) {
        ids.push_back(idOf(reference));
    }
    return ids;
}

} // namespace

TEST(ServiceInterfaceTest, IdentifierIsTheDemangledNameUnlessDeclared) {
    EXPECT_EQ(us_service_interface_iid<First>(), "registrytest::First");
    EXPECT_EQ(us_service_interface_iid<Named>(), "a name (of) its own");
    EXPECT_EQ(us_service_interface_iid<void>(), "");
}

TEST(ServiceInterfaceTest, InterfaceMapHasThePointerOfEachInterface) {
    auto const both = std::make_shared<Both>();
    InterfaceMapConstPtr const map = MakeInterfaceMap<First, Second>(both);
    EXPECT_THAT(*map, SizeIs(2));
    EXPECT_EQ(ExtractInterface<First>(map), both);
    EXPECT_EQ(ExtractInterface<Second>(map)->value, 2);
    EXPECT_EQ(ExtractInterface<Named>(map), nullptr);
    EXPECT_EQ(ExtractInterface(map, "registrytest::Second"), std::shared_ptr<Second>(both));
    EXPECT_EQ(ExtractInterface(map, "nothing"), nullptr);
    EXPECT_EQ(ExtractInterface(nullptr, "registrytest::First"), nullptr);
}

TEST_F(ServiceRegistryTest, FrameworkAddsItsProperties) {
    auto const registration =
        context().RegisterService<First, Second>(std::make_shared<Both>(), {{"x", std::string("given")}});
    auto const reference = registration.GetReference();
    EXPECT_EQ(any_cast<std::string>(reference.GetProperty("X")), "given");
    EXPECT_GT(idOf(reference), 0);
    EXPECT_EQ(any_cast<std::string>(reference.GetProperty(Constants::SERVICE_SCOPE)),
              Constants::SCOPE_SINGLETON);
    EXPECT_THAT(any_cast<std::vector<std::string>>(reference.GetProperty(Constants::OBJECTCLASS)),
                testing::UnorderedElementsAre("registrytest::First", "registrytest::Second"));
    EXPECT_THAT(reference.GetPropertyKeys(),
                testing::UnorderedElementsAre("x", "service.id", "service.scope", "objectclass"));
    EXPECT_TRUE(reference.GetProperty("nothing").Empty());
    EXPECT_TRUE(reference.GetBundle() == framework_);
}

TEST_F(ServiceRegistryTest, NothingCannotBeRegistered) {
    EXPECT_EQ(
        messageOf<std::invalid_argument>([this] { (void)context().RegisterService(InterfaceMapConstPtr()); }),
        "Can't register empty InterfaceMap as a service");
    EXPECT_EQ(messageOf<std::invalid_argument>(
                  [this] { (void)context().RegisterService(std::make_shared<InterfaceMap const>()); }),
              "Can't register empty InterfaceMap as a service");
    EXPECT_EQ(messageOf<std::invalid_argument>(
                  [this] { context().RegisterService<First>(std::shared_ptr<First>()); }),
              "Can't register as null class");
    EXPECT_EQ(messageOf<ServiceException>(
                  [this] { context().RegisterService<First>(std::shared_ptr<ServiceFactory>()); }),
              "The service factory argument must not be nullptr.");
}

TEST_F(ServiceRegistryTest, FirstKeyWithACaseVariantIsNamed) {
    ServiceProperties const properties{{"cc", 1}, {"CC", 1}, {"aa", 1}, {"AA", 1}, {"bb", 1}, {"BB", 1}};
    EXPECT_EQ(messageOf<std::runtime_error>(
                  [&] { context().RegisterService<First>(std::make_shared<First>(), properties); }),
              "Properties contain case variants of the key: " + properties.begin()->first);
}

TEST_F(ServiceRegistryTest, KeysThatDifferInCaseOnlyAreRefused) {
    ServiceProperties const properties{{"x", 1}, {"X", 2}};
    EXPECT_THAT(messageOf<std::runtime_error>(
                    [&] { context().RegisterService<First>(std::make_shared<First>(), properties); }),
                testing::StartsWith("Properties contain case variants of the key: "));
    EXPECT_THAT(context().GetServiceReferences(""), IsEmpty());
    auto registration = context().RegisterService<First>(std::make_shared<First>());
    EXPECT_THROW(registration.SetProperties(properties), std::runtime_error);
    EXPECT_TRUE(registration.GetReference().GetProperty("x").Empty());
}

TEST_F(ServiceRegistryTest, ServicesAreFoundByInterfaceAndFilter) {
    auto const one = context().RegisterService<First>(std::make_shared<First>(), {{"x", 1}});
    auto const two = context().RegisterService<First, Second>(std::make_shared<Both>(), {{"x", 2}});
    EXPECT_THAT(context().GetServiceReferences<First>(), ElementsAre(one.GetReference(), two.GetReference()));
    EXPECT_THAT(context().GetServiceReferences<First>("(x>=2)"), ElementsAre(two.GetReference()));
    EXPECT_THAT(context().GetServiceReferences<Second>("(x=1)"), IsEmpty());
    EXPECT_THAT(context().GetServiceReferences("", "(|(x=1)(x=2))"), SizeIs(2));
    EXPECT_THAT(context().GetServiceReferences(""), SizeIs(2));
    EXPECT_THAT(context().GetServiceReferences("nothing"), IsEmpty());
    EXPECT_FALSE(context().GetServiceReference<Named>());
}

TEST_F(ServiceRegistryTest, FiltersOnTheInterfaceFindWhatAnyFilterFinds) {
    auto const one = context().RegisterService<First>(std::make_shared<First>(), {{"x", 1}});
    auto const two = context().RegisterService<First, Second>(std::make_shared<Both>(), {{"x", 2}});
    auto const named = context().RegisterService<Named>(std::make_shared<Named>());
    auto const count = [this](std::string const& filter) {
        return context().GetServiceReferences("", filter).size();
    };
    EXPECT_EQ(count("(objectclass=registrytest::First)"), 2U);
    EXPECT_EQ(count("(objectClass=registrytest::First)"), 2U);
    EXPECT_EQ(count("(objectclass=REGISTRYTEST::FIRST)"), 0U);
    EXPECT_EQ(count("(objectclass=registrytest::F*)"), 2U);
    EXPECT_EQ(count("( & ( objectclass=registrytest::First) (x=2))"), 1U);
    EXPECT_EQ(count("(&(objectclass=registrytest::First)(x=1))"), 1U);
    EXPECT_EQ(count("(&(objectclass=registrytest::First) (x=1))"), 1U);
    EXPECT_EQ(count("(&(objectclass=registrytest::First))"), 2U);
    EXPECT_EQ(count("(&(objectclass=registrytest::First)(objectclass=registrytest::Second))"),
              count("(&(objectclass=registrytest::Second)(objectclass=registrytest::First))"));
    EXPECT_EQ(count("(|(objectclass=registrytest::Second)(x=1))"), 2U);
    EXPECT_EQ(count("(!(objectclass=registrytest::First))"), 1U);
    EXPECT_EQ(count("(objectclass=a name \\(of\\) its own)"), 1U);
    EXPECT_EQ(
        context().GetServiceReferences("registrytest::First", "(objectclass=registrytest::Second)").size(),
        1U);
    EXPECT_EQ(
        context().GetServiceReferences("registrytest::Second", "(objectclass=registrytest::First)").size(),
        1U);
}

TEST_F(ServiceRegistryTest, MalformedFiltersAreRefused) {
    auto const registration = context().RegisterService<First>(std::make_shared<First>());
    EXPECT_THROW(context().GetServiceReferences("", "(x=1"), std::invalid_argument);
    for (auto const* const afterInterface : {"", "(x=1", "(x=1)", "x=1)", "(x=1))y", "(x))"}) {
        auto const filter = std::string("(&(objectclass=registrytest::First)") + afterInterface;
        EXPECT_THROW(context().GetServiceReferences("", filter), std::invalid_argument) << filter;
    }
    EXPECT_THROW(context().GetServiceReferences<First>("x=1"), std::invalid_argument);
}

TEST_F(ServiceRegistryTest, FilterIsNotLookedAtWhereNoServiceHasTheInterface) {
    EXPECT_THAT(context().GetServiceReferences<First>("x=1"), IsEmpty());
}

TEST_F(ServiceRegistryTest, ReferencesKnowTheInterfaceTheyWereFoundUnder) {
    auto const registration = context().RegisterService<First, Second>(std::make_shared<Both>());
    EXPECT_EQ(context().GetServiceReference("registrytest::Second").GetInterfaceId(), "registrytest::Second");
    EXPECT_EQ(context().GetServiceReferences("").at(0).GetInterfaceId(), "");
    ServiceReferenceU const reference = registration.GetReference<Second>();
    EXPECT_EQ(reference.GetInterfaceId(), "registrytest::Second");
    EXPECT_TRUE(reference.IsConvertibleTo("registrytest::First"));
    EXPECT_FALSE(reference.IsConvertibleTo("registrytest::Named"));
    EXPECT_EQ(ServiceReference<First>(reference).GetInterfaceId(), "registrytest::First");
    EXPECT_FALSE(ServiceReference<Named>(reference));
    EXPECT_TRUE(reference == registration.GetReference<First>());
    EXPECT_EQ(std::hash<ServiceReferenceBase>()(reference), registration.GetReference<First>().Hash());
}

TEST_F(ServiceRegistryTest, HigherRankingThenEarlierRegistrationIsPreferred) {
    std::vector<ServiceRegistration<First>> registrations;
    for (int const ranking : {0, 5, -1, 5}) {
        registrations.push_back(context().RegisterService<First>(std::make_shared<First>(),
                                                                 {{Constants::SERVICE_RANKING, ranking}}));
    }
    std::vector<long> ids;
    for (auto const& registration : registrations) {
        ids.push_back(idOf(registration.GetReference()));
    }
    EXPECT_THAT(idsOf(context().GetServiceReferences<First>()), ElementsAre(ids[1], ids[3], ids[0], ids[2]));
    EXPECT_EQ(idOf(context().GetServiceReference<First>()), ids[1]);
    EXPECT_TRUE(registrations[0].GetReference() < registrations[1].GetReference());
    EXPECT_TRUE(registrations[3].GetReference() < registrations[1].GetReference());
    EXPECT_FALSE(registrations[1].GetReference() < registrations[1].GetReference());
    EXPECT_TRUE(registrations[2] < registrations[0]);
    EXPECT_FALSE(registrations[0] < registrations[2]);
    EXPECT_FALSE(registrations[0] < registrations[0]);
}

TEST_F(ServiceRegistryTest, ChangedRankingChangesThePreference) {
    auto const one = context().RegisterService<First>(std::make_shared<First>());
    auto two = context().RegisterService<First>(std::make_shared<First>());
    EXPECT_TRUE(context().GetServiceReference<First>() == one.GetReference());
    two.SetProperties({{Constants::SERVICE_RANKING, 1}});
    EXPECT_TRUE(context().GetServiceReference<First>() == two.GetReference());
    two.SetProperties({});
    EXPECT_TRUE(context().GetServiceReference<First>() == one.GetReference());
    two.Unregister();
    EXPECT_THAT(context().GetServiceReferences<First>(), ElementsAre(one.GetReference()));
}

TEST_F(ServiceRegistryTest, InvalidReferencesAndRegistrationsComeFirst) {
    auto const registration = context().RegisterService<First>(std::make_shared<First>());
    auto const reference = registration.GetReference();
    ServiceReference<First> const invalid;
    EXPECT_FALSE(invalid);
    EXPECT_TRUE(invalid < reference);
    EXPECT_FALSE(reference < invalid);
    EXPECT_TRUE(invalid == ServiceReference<First>());
    EXPECT_FALSE(invalid == reference);
    EXPECT_EQ(textOf(invalid), "Invalid service reference");
    EXPECT_TRUE(ServiceRegistration<First>() < registration);
    EXPECT_FALSE(registration < ServiceRegistration<First>());
    EXPECT_FALSE(ServiceRegistration<First>() == registration);
    ServiceReferenceU assigned = reference;
    assigned = nullptr;
    EXPECT_FALSE(assigned);
    EXPECT_TRUE(assigned == ServiceReferenceU());
}

TEST_F(ServiceRegistryTest, TextOfAReferenceHasAllPropertiesInAnyOrderWithCommasBetween) {
    auto const reference =
        context().RegisterService<First>(std::make_shared<First>(), {{"x", 1}}).GetReference();
    auto const text = textOf(reference);
    auto const begin = text.find('(');
    EXPECT_THAT(text, testing::StartsWith("Reference for service object registered from system_bundle "));
    ASSERT_EQ(text.back(), ')');
    std::istringstream list(text.substr(begin + 1, text.size() - begin - 2));
    std::vector<std::string> properties;
    for (std::string property; std::getline(list, property, ',');) {
        properties.push_back(property);
    }
    EXPECT_THAT(properties, testing::UnorderedElementsAre("x=1", testing::HasSubstr("objectclass="),
                                                          "service.id=" + std::to_string(idOf(reference)),
                                                          "service.scope=singleton"));
}

TEST_F(ServiceRegistryTest, SetPropertiesReplacesAllButTheFrameworksOwn) {
    auto registration = context().RegisterService<First>(std::make_shared<First>(), {{"x", 1}, {"y", 1}});
    auto const reference = registration.GetReference();
    auto const id = idOf(reference);
    registration.SetProperties(
        {{"x", 2}, {Constants::SERVICE_ID, 77}, {Constants::SERVICE_SCOPE, std::string("mine")}});
    EXPECT_EQ(any_cast<int>(reference.GetProperty("x")), 2);
    EXPECT_TRUE(reference.GetProperty("y").Empty());
    EXPECT_EQ(idOf(reference), id);
    EXPECT_EQ(reference.GetProperty(Constants::SERVICE_SCOPE).ToString(), Constants::SCOPE_SINGLETON);
}

TEST_F(ServiceRegistryTest, ServiceWhosePropertiesAreSetIsFoundAsBefore) {
    auto registration = context().RegisterService<First>(std::make_shared<First>(), {{"x", 1}});
    registration.SetProperties({{"x", 2}});
    EXPECT_THAT(context().GetServiceReferences<First>(), ElementsAre(registration.GetReference()));
}

TEST_F(ServiceRegistryTest, UnregisteredServiceIsGoneButItsReferencesAnswer) {
    auto registration = context().RegisterService<First>(std::make_shared<First>(), {{"x", 1}});
    auto const reference = registration.GetReference();
    registration.Unregister();
    EXPECT_THAT(context().GetServiceReferences<First>(), IsEmpty());
    EXPECT_FALSE(reference);
    EXPECT_FALSE(reference.GetBundle());
    EXPECT_THAT(reference.GetUsingBundles(), IsEmpty());
    EXPECT_EQ(any_cast<int>(reference.GetProperty("x")), 1);
    EXPECT_TRUE(registration);
    EXPECT_EQ(messageOf<std::logic_error>([&] { registration.Unregister(); }), "Service is unregistered");
    EXPECT_EQ(messageOf<std::logic_error>([&] { registration.GetReference(); }), "Service is unregistered");
    EXPECT_EQ(messageOf<std::logic_error>([&] { registration.SetProperties({}); }),
              "Service is unregistered");
    EXPECT_EQ(messageOf<std::invalid_argument>([&] { context().GetService(reference); }),
              "Default constructed ServiceReference is not a valid input to GetService()");
    EXPECT_EQ(messageOf<std::invalid_argument>([&] { context().GetServiceObjects(reference); }),
              "The service reference is invalid");
}

TEST_F(ServiceRegistryTest, UnregisteredServiceIsNotConvertedToAnotherInterface) {
    auto registration = context().RegisterService<First, Second>(std::make_shared<Both>());
    auto const first = registration.GetReference<First>();
    registration.Unregister();
    EXPECT_FALSE(first.IsConvertibleTo("registrytest::First"));
    EXPECT_FALSE(first.IsConvertibleTo("registrytest::Second"));
    EXPECT_TRUE(ServiceReference<Second>(first) == ServiceReference<Second>());
    EXPECT_TRUE(ServiceReference<First>(ServiceReferenceU(first)) == first);
}

TEST_F(ServiceRegistryTest, ServicesAreInOrderOfPreferenceOnlyWhereInterfacesAreNamed) {
    auto const low = context().RegisterService<First>(std::make_shared<First>());
    auto const high =
        context().RegisterService<First>(std::make_shared<First>(), {{Constants::SERVICE_RANKING, 1}});
    for (auto const* const filter :
         {"(objectclass=registrytest::First)", "(&(service.id>=0)( objectClass =registrytest::First))",
          "(|(objectclass=registrytest::First)(objectclass=none))"}) {
        EXPECT_THAT(context().GetServiceReferences("", filter),
                    ElementsAre(high.GetReference(), low.GetReference()))
            << filter;
    }
    for (auto const* const filter :
         {"", "(service.id>=0)", "(objectclass=*First)", "(objectclass>=a)",
          "(|(objectclass=registrytest::First)(service.id=0))", "(!(!(objectclass=registrytest::First)))"}) {
        EXPECT_THAT(context().GetServiceReferences("", filter),
                    ElementsAre(low.GetReference(), high.GetReference()))
            << filter;
    }
    EXPECT_TRUE(context().GetServiceReference("") == low.GetReference());
    EXPECT_THAT(framework_.GetRegisteredServices(), ElementsAre(low.GetReference(), high.GetReference()));
}

TEST_F(ServiceRegistryTest, InvalidRegistrationThrows) {
    ServiceRegistrationU registration;
    EXPECT_FALSE(registration);
    EXPECT_EQ(messageOf<std::logic_error>([&] { registration.Unregister(); }),
              "ServiceRegistrationBase object invalid");
    EXPECT_EQ(messageOf<std::logic_error>([&] { registration.GetReference(); }),
              "ServiceRegistrationBase object invalid");
    registration = context().RegisterService<First>(std::make_shared<First>());
    EXPECT_TRUE(registration);
    registration = nullptr;
    EXPECT_FALSE(registration);
    EXPECT_THAT(context().GetServiceReferences<First>(), SizeIs(1));
}

TEST_F(ServiceRegistryTest, ServiceIsUsedUntilTheLastPointerIsGone) {
    auto const service = std::make_shared<Both>();
    auto const registration = context().RegisterService<First, Second>(service);
    auto const reference = registration.GetReference<Second>();
    EXPECT_THAT(reference.GetUsingBundles(), IsEmpty());
    std::shared_ptr<Second> first = context().GetService(reference);
    std::shared_ptr<Second> second = context().GetService(reference);
    EXPECT_EQ(first, std::shared_ptr<Second>(service));
    EXPECT_EQ(first, second);
    EXPECT_THAT(reference.GetUsingBundles(), ElementsAre(framework_));
    first.reset();
    EXPECT_THAT(framework_.GetServicesInUse(), ElementsAre(reference));
    second.reset();
    EXPECT_THAT(reference.GetUsingBundles(), IsEmpty());
    EXPECT_THAT(framework_.GetServicesInUse(), IsEmpty());
}

TEST_F(ServiceRegistryTest, UntypedReferenceGivesTheWholeService) {
    auto const service = std::make_shared<Both>();
    auto const registration = context().RegisterService<First, Second>(service);
    auto const map = context().GetService(ServiceReferenceU(registration.GetReference()));
    EXPECT_EQ(ExtractInterface<Second>(map), std::shared_ptr<Second>(service));
    EXPECT_EQ(
        context().GetServiceObjects(ServiceReferenceU(registration.GetReference())).GetService()->size(), 2U);
}

TEST_F(ServiceRegistryTest, ReferencesAndWeakPointersDoNotKeepAnUnregisteredService) {
    auto service = std::make_shared<First>();
    std::weak_ptr<First> const observer = service;
    auto registration = context().RegisterService<First>(std::move(service));
    service.reset();
    auto const reference = registration.GetReference();
    std::weak_ptr<First> const got = context().GetService(reference);
    EXPECT_FALSE(observer.expired());
    registration.Unregister();
    registration = nullptr;
    EXPECT_TRUE(observer.expired());
    EXPECT_TRUE(got.expired());
}

TEST_F(ServiceRegistryTest, FilterMatchesReferencesAndBundles) {
    auto const registration = context().RegisterService<First>(std::make_shared<First>(), {{"x", 1}});
    EXPECT_TRUE(LDAPFilter("(X=1)").Match(registration.GetReference()));
    EXPECT_FALSE(LDAPFilter("(x=2)").Match(registration.GetReference()));
    EXPECT_TRUE(LDAPFilter("(bundle.symbolic_name=test_recorder)").Match(install("recorder")));
}

// Invariants: every service that is got is the one that was registered, every listener hears of each
// registration as often as of each unregistration, and nothing is left at the end.
TEST_F(ServiceRegistryTest, ThreadsRegisterFindGetAndListenAtOnce) {
    std::atomic<int> registered{0};
    std::atomic<int> unregistered{0};
    context().AddServiceListener([&](ServiceEvent const& event) {
        (event.GetType() == ServiceEvent::SERVICE_REGISTERED ? registered : unregistered) +=
            event.GetType() == ServiceEvent::SERVICE_MODIFIED ? 0 : 1;
    });
    constexpr int threadCount = 4;
    constexpr int rounds = 200;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([this, thread] {
            auto own = context();
            for (int round = 0; round < rounds; ++round) {
                auto registration = own.RegisterService<First>(std::make_shared<First>(), {{"x", thread}});
                auto token = own.AddServiceListener([](ServiceEvent const&) {}, "(x=1)");
                for (auto const& reference : own.GetServiceReferences<First>("(x>=0)")) {
                    try {
                        auto const service = own.GetService(reference);
                        EXPECT_TRUE(!service || service->value == 1);
                    } catch (std::invalid_argument const&) {
                        // It was unregistered after it was found.
                    }
                }
                registration.SetProperties({{"x", thread}, {"round", round}});
                own.RemoveListener(std::move(token));
                registration.Unregister();
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(registered, threadCount * rounds);
    EXPECT_EQ(unregistered, threadCount * rounds);
    EXPECT_THAT(context().GetServiceReferences(""), IsEmpty());
    EXPECT_THAT(framework_.GetServicesInUse(), IsEmpty());
}

TEST_F(ServiceRegistryTest, OneReferenceMayBeCopiedAndAssignedByThreadsAtOnce) {
    auto const one = context().RegisterService<First>(std::make_shared<First>()).GetReference();
    auto const two = context().RegisterService<First>(std::make_shared<First>()).GetReference();
    ServiceReference<First> shared = one;
    std::thread writer([&] {
        for (int round = 0; round < 2000; ++round) {
            shared = round % 2 == 0 ? two : one;
        }
    });
    for (int round = 0; round < 2000; ++round) {
        ServiceReference<First> const copy = shared;
        EXPECT_TRUE(copy == one || copy == two);
    }
    writer.join();
}
