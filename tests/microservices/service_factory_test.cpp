// Services that factories make, one per bundle or one per caller.
#include "FrameworkFixture.hpp"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/PrototypeServiceFactory.h>
#include <cppmicroservices/ServiceObjects.h>

#include <functional>
#include <memory>
#include <stdexcept>

using namespace cppmicroservices;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace factorytest {
struct Service {};
struct Other {};
} // namespace factorytest

using namespace factorytest;

namespace {

// Records its calls; makes a new object per call unless told otherwise.
template <class Factory>
class RecordingFactory : public Factory {
public:
    InterfaceMapConstPtr GetService(Bundle const& bundle, ServiceRegistrationBase const&) override {
        calls.add("get " + bundle.GetSymbolicName());
        return make();
    }
    void UngetService(Bundle const& bundle, ServiceRegistrationBase const&,
                      InterfaceMapConstPtr const& map) override {
        calls.add("unget " + bundle.GetSymbolicName());
        EXPECT_TRUE(map);
        onUnget();
    }

    TextRecorder calls;
    std::function<InterfaceMapConstPtr()> make = []() -> InterfaceMapConstPtr {
        return MakeInterfaceMap<Service>(std::make_shared<Service>());
    };
    std::function<void()> onUnget = [] {};
};

class ServiceFactoryTest : public FrameworkTest {
protected:
    using Factory = RecordingFactory<ServiceFactory>;
    using Prototype = RecordingFactory<PrototypeServiceFactory>;

    ServiceRegistration<Service> registerFactory() {
        return context().RegisterService<Service>(ToFactory(factory_));
    }
    ServiceRegistration<Service> registerPrototype() {
        return context().RegisterService<Service>(ToFactory(prototype_));
    }

    std::shared_ptr<Factory> factory_ = std::make_shared<Factory>();
    std::shared_ptr<Prototype> prototype_ = std::make_shared<Prototype>();
};

} // namespace

TEST_F(ServiceFactoryTest, ScopeSaysWhatTheFactoryIs) {
    EXPECT_EQ(registerFactory().GetReference().GetProperty(Constants::SERVICE_SCOPE).ToString(),
              Constants::SCOPE_BUNDLE);
    EXPECT_EQ(registerPrototype().GetReference().GetProperty(Constants::SERVICE_SCOPE).ToString(),
              Constants::SCOPE_PROTOTYPE);
}

TEST_F(ServiceFactoryTest, EachBundleHasOneObjectUntilItsLastPointerIsGone) {
    auto const reference = registerFactory().GetReference();
    auto const bundle = start("manifest_only");
    auto mine = context().GetService(reference);
    auto mineAgain = context().GetService(reference);
    auto const theirs = bundle.GetBundleContext().GetService(reference);
    EXPECT_EQ(mine, mineAgain);
    EXPECT_NE(mine, theirs);
    EXPECT_THAT(factory_->calls.take(), ElementsAre("get system_bundle", "get test_manifest_only"));
    mine.reset();
    EXPECT_THAT(factory_->calls.take(), IsEmpty());
    mineAgain.reset();
    EXPECT_THAT(factory_->calls.take(), ElementsAre("unget system_bundle"));
    EXPECT_THAT(reference.GetUsingBundles(), ElementsAre(bundle));
}

TEST_F(ServiceFactoryTest, UnregisteringTakesTheObjectsBack) {
    auto registration = registerFactory();
    auto held = context().GetService(registration.GetReference());
    registration.Unregister();
    EXPECT_THAT(factory_->calls.take(), ElementsAre("get system_bundle", "unget system_bundle"));
    EXPECT_NE(held, nullptr);
    held.reset();
    EXPECT_THAT(factory_->calls.take(), IsEmpty());
}

TEST_F(ServiceFactoryTest, TheServiceHasItsUsersUntilTheLastObjectIsTakenBack) {
    auto registration = registerFactory();
    auto const reference = registration.GetReference();
    auto const bundle = start("manifest_only");
    auto const mine = context().GetService(reference);
    auto const theirs = bundle.GetBundleContext().GetService(reference);
    factory_->onUnget = [&] {
        EXPECT_THAT(reference.GetUsingBundles(), UnorderedElementsAre(framework_, bundle));
        EXPECT_THAT(bundle.GetServicesInUse(), IsEmpty());
    };
    registration.Unregister();
    EXPECT_EQ(factory_->calls.take().size(), 4U); // each got an object and gave it back
    EXPECT_THAT(reference.GetUsingBundles(), IsEmpty());
}

TEST_F(ServiceFactoryTest, ReferenceIsValidUntilTheObjectsOfItsServiceAreTakenBack) {
    auto registration = registerFactory();
    auto const reference = registration.GetReference();
    auto const held = context().GetService(reference);
    bool valid = false;
    factory_->onUnget = [&] {
        valid = reference && reference.GetBundle() && reference.IsConvertibleTo("factorytest::Service");
        EXPECT_THROW(registration.GetReference(), std::logic_error);
        EXPECT_THROW(registration.SetProperties({}), std::logic_error);
    };
    registration.Unregister();
    EXPECT_TRUE(valid);
    EXPECT_FALSE(reference);
}

TEST_F(ServiceFactoryTest, BundleUsesTheServiceWhileItsObjectIsMade) {
    auto const reference = registerFactory().GetReference();
    factory_->make = [&]() -> InterfaceMapConstPtr {
        EXPECT_THAT(reference.GetUsingBundles(), ElementsAre(framework_));
        EXPECT_THAT(framework_.GetServicesInUse(), ElementsAre(reference));
        return MakeInterfaceMap<Service>(std::make_shared<Service>());
    };
    EXPECT_NE(context().GetService(reference), nullptr);
    EXPECT_THAT(reference.GetUsingBundles(), IsEmpty());
    EXPECT_THAT(framework_.GetServicesInUse(), IsEmpty());
}

TEST_F(ServiceFactoryTest, StopOfTheUserTakesItsObjectBack) {
    auto const reference = registerFactory().GetReference();
    auto bundle = start("manifest_only");
    auto const held = bundle.GetBundleContext().GetService(reference);
    bundle.Stop();
    EXPECT_THAT(factory_->calls.take(), ElementsAre("get test_manifest_only", "unget test_manifest_only"));
}

TEST_F(ServiceFactoryTest, ContextOfAStoppingUserIsValidWhileItsObjectIsTakenBack) {
    auto const reference = registerFactory().GetReference();
    auto bundle = start("manifest_only");
    auto const held = bundle.GetBundleContext().GetService(reference);
    bool valid = false;
    factory_->onUnget = [&] { valid = static_cast<bool>(bundle.GetBundleContext()); };
    bundle.Stop();
    EXPECT_TRUE(valid);
}

TEST_F(ServiceFactoryTest, FactoryThatThrowsIsReportedAndGivesNothing) {
    auto const reference = registerFactory().GetReference();
    recordFrameworkEvents();
    factory_->make = []() -> InterfaceMapConstPtr { throw std::logic_error("no service today"); };
    EXPECT_EQ(context().GetService(reference), nullptr);
    EXPECT_THAT(
        frameworkEvents_.take(),
        ElementsAre("ERROR system_bundle ServiceFactory threw an unknown exception.: no service today"));
}

TEST_F(ServiceFactoryTest, FactoryThatGivesNothingIsReportedAndGivesNothing) {
    auto const reference = registerFactory().GetReference();
    for (auto const& nothing :
         {InterfaceMapConstPtr(), InterfaceMapConstPtr(std::make_shared<InterfaceMap>())}) {
        recordFrameworkEvents();
        factory_->make = [nothing] { return nothing; };
        EXPECT_EQ(context().GetService(reference), nullptr);
        EXPECT_THAT(
            frameworkEvents_.take(),
            testing::Each("ERROR system_bundle ServiceFactory returned an empty or nullptr interface map.: "
                          "ServiceFactory returned an empty or nullptr interface map."));
    }
}

TEST_F(ServiceFactoryTest, ObjectWithoutAllInterfacesIsReportedAndNotGiven) {
    auto const registration = context().RegisterService<Service, Other>(ToFactory(factory_));
    recordFrameworkEvents();
    EXPECT_EQ(context().GetService(registration.GetReference()), nullptr);
    EXPECT_THAT(frameworkEvents_.take(),
                ElementsAre("WARNING system_bundle ServiceFactory produced an object that did not implement: "
                            "factorytest::Other: ServiceFactory produced an object that did not implement: "
                            "factorytest::Other"));
}

TEST_F(ServiceFactoryTest, FactoryThatAsksForItsOwnServiceGetsNothing) {
    auto const reference = registerFactory().GetReference();
    recordFrameworkEvents();
    std::shared_ptr<Service> recursive = std::make_shared<Service>();
    factory_->make = [&]() -> InterfaceMapConstPtr {
        recursive = context().GetService(reference);
        return MakeInterfaceMap<Service>(std::make_shared<Service>());
    };
    EXPECT_NE(context().GetService(reference), nullptr);
    EXPECT_EQ(recursive, nullptr);
    EXPECT_THAT(frameworkEvents_.take(),
                ElementsAre("ERROR system_bundle Recursive call to ServiceFactory::GetService: "
                            "Recursive call to ServiceFactory::GetService"));
}

TEST_F(ServiceFactoryTest, ExceptionOfUngetIsReported) {
    auto const reference = registerFactory().GetReference();
    recordFrameworkEvents();
    factory_->onUnget = [] { throw std::logic_error("no return today"); };
    context().GetService(reference);
    EXPECT_THAT(frameworkEvents_.take(),
                ElementsAre("ERROR system_bundle ServiceFactory threw an exception: no return today"));
}

TEST_F(ServiceFactoryTest, ReportsNameTheUserUnlessTheServiceIsUnregistered) {
    auto registration = registerFactory();
    auto bundle = start("manifest_only");
    recordFrameworkEvents();
    auto const use = [&] { return bundle.GetBundleContext().GetService(registration.GetReference()); };
    factory_->onUnget = [] { throw std::logic_error("no return today"); };
    (void)use();
    EXPECT_THAT(frameworkEvents_.take(),
                ElementsAre("ERROR test_manifest_only ServiceFactory threw an exception: no return today"));
    auto const held = use();
    registration.Unregister();
    EXPECT_THAT(
        frameworkEvents_.take(),
        ElementsAre("ERROR system_bundle ServiceFactory UngetService implementation threw an exception: "
                    "no return today"));
}

TEST_F(ServiceFactoryTest, ReportsNameTheUserThatStops) {
    auto const reference = registerFactory().GetReference();
    auto bundle = start("manifest_only");
    recordFrameworkEvents();
    factory_->onUnget = [] { throw std::logic_error("no return today"); };
    auto const held = bundle.GetBundleContext().GetService(reference);
    bundle.Stop();
    EXPECT_THAT(frameworkEvents_.take(),
                ElementsAre("ERROR test_manifest_only ServiceFactory threw an exception: no return today"));
}

TEST_F(ServiceFactoryTest, FailuresNameTheUser) {
    auto const reference = registerFactory().GetReference();
    auto bundle = start("manifest_only");
    recordFrameworkEvents();
    factory_->make = []() -> InterfaceMapConstPtr { throw std::logic_error("no service today"); };
    EXPECT_EQ(bundle.GetBundleContext().GetService(reference), nullptr);
    EXPECT_THAT(
        frameworkEvents_.take(),
        ElementsAre("ERROR test_manifest_only ServiceFactory threw an unknown exception.: no service today"));
}

TEST_F(ServiceFactoryTest, ReportsAreServiceExceptionsOfTheirType) {
    auto const reference = registerFactory().GetReference();
    std::vector<ServiceException::Type> types;
    context().AddFrameworkListener([&types](FrameworkEvent const& event) {
        try {
            std::rethrow_exception(event.GetThrowable());
        } catch (ServiceException const& error) {
            types.push_back(error.GetType());
        }
    });
    factory_->make = []() -> InterfaceMapConstPtr { throw std::logic_error("no service today"); };
    context().GetService(reference);
    factory_->make = [] { return InterfaceMapConstPtr(); };
    context().GetService(reference);
    EXPECT_THAT(types, ElementsAre(ServiceException::FACTORY_EXCEPTION, ServiceException::FACTORY_ERROR));
}

TEST_F(ServiceFactoryTest, ServiceObjectsOfAPrototypeAreNewEachTime) {
    auto const reference = registerPrototype().GetReference();
    auto const objects = context().GetServiceObjects(reference);
    EXPECT_TRUE(objects.GetServiceReference() == reference);
    auto first = objects.GetService();
    auto const second = objects.GetService();
    EXPECT_NE(first, second);
    EXPECT_THAT(prototype_->calls.take(), ElementsAre("get system_bundle", "get system_bundle"));
    EXPECT_THAT(reference.GetUsingBundles(), IsEmpty());
    EXPECT_THAT(framework_.GetServicesInUse(), ElementsAre(reference));
    first.reset();
    EXPECT_THAT(prototype_->calls.take(), ElementsAre("unget system_bundle"));
}

TEST_F(ServiceFactoryTest, ContextGivesOneObjectPerBundleOfAPrototypeToo) {
    auto const reference = registerPrototype().GetReference();
    auto const first = context().GetService(reference);
    EXPECT_EQ(context().GetService(reference), first);
    EXPECT_NE(context().GetServiceObjects(reference).GetService(), first);
}

TEST_F(ServiceFactoryTest, ContextGivesNoneOfThePrototypesObjectsThatOthersHold) {
    auto const reference = registerPrototype().GetReference();
    auto const first = context().GetServiceObjects(reference).GetService();
    EXPECT_NE(context().GetService(reference), first);
}

TEST_F(ServiceFactoryTest, ServiceObjectsOfOtherServicesAreTheBundlesOne) {
    auto const reference = registerFactory().GetReference();
    auto const objects = context().GetServiceObjects(reference);
    auto const first = objects.GetService();
    EXPECT_EQ(objects.GetService(), first);
    EXPECT_EQ(context().GetService(reference), first);
}

TEST_F(ServiceFactoryTest, ServiceObjectsOfAnUnregisteredServiceGiveNothing) {
    auto registration = registerPrototype();
    auto const objects = context().GetServiceObjects(registration.GetReference());
    registration.Unregister();
    EXPECT_EQ(objects.GetService(), nullptr);
}

TEST_F(ServiceFactoryTest, ServiceObjectsOfAStoppedBundleThrow) {
    auto bundle = start("manifest_only");
    auto const reference = registerPrototype().GetReference();
    auto const objects = bundle.GetBundleContext().GetServiceObjects(reference);
    bundle.Stop();
    EXPECT_EQ(messageOf<std::runtime_error>([&objects] { objects.GetService(); }),
              "The bundle context is no longer valid");
}
