// From a service back to its reference.
#include "FrameworkFixture.hpp"

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
