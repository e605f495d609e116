// A bundle that starts or stops only when a test lets it: it waits until somebody opens the named pipe that
// the environment names. Without the variables it does nothing.
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>

namespace {

void passThrough(char const* variable) {
    if (auto const* const pipe = std::getenv(variable)) {
        close(open(pipe, O_RDONLY | O_CLOEXEC)); // returns when there is a writer
    }
}

class GateActivator : public cppmicroservices::BundleActivator {
public:
    void Start(cppmicroservices::BundleContext) override { passThrough("SPF_TEST_START_GATE"); }
    void Stop(cppmicroservices::BundleContext) override { passThrough("SPF_TEST_STOP_GATE"); }
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(GateActivator)
