// The fixture of tests in which real bundles are started: it records when they are and when they are stopped,
// as "start <symbolic name>" and "stop <symbolic name>".
#ifndef TESTS_UNIT_PUBLICATION_BUNDLES_TEST_HPP
#define TESTS_UNIT_PUBLICATION_BUNDLES_TEST_HPP

#include <memory>
#include <string>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>

#include "publication/bundles/ActivatorListener.hpp"
#include "publication/installAndStartMicroServices.hpp"
#include "support/HostTest.hpp"

namespace agent::spf::frameworksetup::test {

class BundlesTest : public HostTest {
protected:
    static constexpr char const* startFirst = "start spf_unit_first";
    static constexpr char const* startSecond = "start spf_unit_second";
    static constexpr char const* stopFirst = "stop spf_unit_first";

    // The library keeps the bundles that it recorded for the life of the process; a test leaves none.
    ~BundlesTest() override {
        callLog().reset();
        fakeHost().reset();
        fakeHost().setFramework(startFramework());
        installAndStartMicroServices();
    }

    // Installs a bundle and does not start it.
    cppmicroservices::Bundle installFirst() { return install(framework(), SPF_UNIT_FIRST_BUNDLE); }
    cppmicroservices::Bundle installSecond() { return install(framework(), SPF_UNIT_SECOND_BUNDLE); }

    static cppmicroservices::Bundle install(cppmicroservices::Framework& in, std::string const& file) {
        auto context = in.GetBundleContext();
        if (context.GetServiceReferences<ActivatorListener>().empty()) {
            context.RegisterService<ActivatorListener>(std::make_shared<Recorder>());
        }
        return context.InstallBundles(file).front();
    }

private:
    class Recorder : public ActivatorListener {
    public:
        void started(std::string const& symbolicName) override { callLog().record("start " + symbolicName); }
        void stopped(std::string const& symbolicName) override { callLog().record("stop " + symbolicName); }
    };
};

} // namespace agent::spf::frameworksetup::test

#endif
