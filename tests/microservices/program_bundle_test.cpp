// A program that is a bundle itself.
#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <cppmicroservices/GetBundleContext.h>

#include <gtest/gtest.h>

#include <algorithm>

using namespace cppmicroservices;

namespace {

class Activator : public BundleActivator {
public:
    void Start(BundleContext) override { ++starts; }
    void Stop(BundleContext) override {}
    static inline int starts = 0;
};

Bundle programIn(BundleContext const& context) {
    auto const bundles = context.GetBundles();
    auto const found = std::find_if(bundles.begin(), bundles.end(), [](Bundle const& bundle) {
        return bundle.GetSymbolicName() == "test_program";
    });
    return found == bundles.end() ? Bundle() : *found;
}

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)

TEST(ProgramBundle, IsInstalledByTheFrameworkAndHasItsContextWhileItIsActive) {
    auto framework = FrameworkFactory().NewFramework();
    EXPECT_FALSE(GetBundleContext());
    framework.Start();
    auto program = programIn(framework.GetBundleContext());
    ASSERT_TRUE(program);
    EXPECT_EQ(program.GetState(), Bundle::STATE_INSTALLED);
    EXPECT_FALSE(GetBundleContext());
    program.Start();
    EXPECT_EQ(Activator::starts, 1);
    ASSERT_TRUE(GetBundleContext());
    EXPECT_TRUE(GetBundleContext().GetBundle() == program);
    framework.Stop();
    framework.WaitForStop(std::chrono::milliseconds::zero());
    EXPECT_FALSE(GetBundleContext());
}
