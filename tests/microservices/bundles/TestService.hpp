// The interface of the service that a test bundle registers.
#ifndef TESTS_MICROSERVICES_BUNDLES_TEST_SERVICE_HPP
#define TESTS_MICROSERVICES_BUNDLES_TEST_SERVICE_HPP

#include <cppmicroservices/ServiceInterface.h>

namespace testbundles {

class TestService {
public:
    virtual ~TestService() = default;
    virtual int answer() const = 0;
};

} // namespace testbundles

CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(testbundles::TestService, "testbundles.TestService/1")

#endif
