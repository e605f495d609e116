// From a service back to its reference, and the end of a registration.
#include "FrameworkFixture.hpp"

#include <cppmicroservices/ServiceFactory.h>

#include <memory>
#include <stdexcept>

using namespace cppmicroservices;

using ServiceRegistryAdditions = FrameworkTest;

TEST_F(ServiceRegistryAdditions, ServiceKnowsItsReference) {
    auto const registration = context().RegisterService<int>(std::make_shared<int>(1));
    auto const service = context().GetService(registration.GetReference());
    EXPECT_TRUE(ServiceReferenceFromService(service) == registration.GetReference());
    EXPECT_EQ(messageOf<std::runtime_error>([] { ServiceReferenceFromService(std::make_shared<int>(1)); }),
              "The input is not a CppMicroServices managed ServiceObject");
    EXPECT_THROW(ServiceReferenceFromService(std::shared_ptr<void>()), std::runtime_error);
}

// 3.8.0 says that the service is unregistered.
TEST_F(ServiceRegistryAdditions, UnregisteringAgainWhileObjectsAreTakenBackDoesNothing) {
    struct Factory : ServiceFactory {
        InterfaceMapConstPtr GetService(Bundle const&, ServiceRegistrationBase const&) override {
            return MakeInterfaceMap<int>(std::make_shared<int>(1));
        }
        void UngetService(Bundle const&, ServiceRegistrationBase const&,
                          InterfaceMapConstPtr const&) override {
            ++taken;
            EXPECT_NO_THROW(registration.Unregister());
        }
        ServiceRegistration<int> registration;
        int taken = 0;
    };
    auto const factory = std::make_shared<Factory>();
    factory->registration = context().RegisterService<int>(ToFactory(factory));
    auto const held = context().GetService(factory->registration.GetReference());
    factory->registration.Unregister();
    EXPECT_EQ(factory->taken, 1);
    EXPECT_THROW(factory->registration.Unregister(), std::logic_error);
}
