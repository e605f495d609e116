// The bundle context: identity, properties, installing and finding bundles.
#include "FrameworkFixture.hpp"
#include "bundleInMessages.hpp"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/ServiceObjects.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

#include <unistd.h>

using namespace cppmicroservices;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using BundleContextTest = FrameworkTest;

TEST(InvalidBundleContext, ThrowsWhateverIsAsked) {
    BundleContext const context;
    EXPECT_FALSE(context);
    EXPECT_EQ(messageOf<std::runtime_error>([&context] { context.GetBundle(); }),
              "The bundle context is no longer valid");
    EXPECT_THROW(context.GetProperties(), std::runtime_error);
}

TEST_F(BundleContextTest, ContextsAreEqualIfTheyAreOfTheSameRunOfTheSameBundle) {
    auto bundle = start("manifest_only");
    auto const own = bundle.GetBundleContext();
    EXPECT_TRUE(own == bundle.GetBundleContext());
    EXPECT_TRUE(own != context());
    EXPECT_TRUE(own < context() || context() < own);
    EXPECT_TRUE(own < BundleContext());
    EXPECT_FALSE(BundleContext() < own);
    bundle.Stop();
    EXPECT_TRUE(own == BundleContext());
    EXPECT_TRUE(context() < own);
    EXPECT_FALSE(own < context());
    EXPECT_FALSE(own < BundleContext());
    bundle.Start();
    EXPECT_TRUE(own != bundle.GetBundleContext());
}

TEST_F(BundleContextTest, AssigningNullMakesItInvalid) {
    auto copy = context();
    copy = nullptr;
    EXPECT_FALSE(copy);
    EXPECT_TRUE(context());
}

TEST_F(BundleContextTest, InstallReturnsTheOneBundleOfTheFileAndFiresOneEvent) {
    recordBundleEvents();
    auto const bundles = context().InstallBundles(locationOf("recorder"));
    EXPECT_THAT(bundles, SizeIs(1));
    EXPECT_THAT(context().InstallBundles(locationOf("recorder")), ElementsAre(bundles[0]));
    EXPECT_THAT(bundleEvents_.take(), ElementsAre("INSTALLED test_recorder"));
}

TEST_F(BundleContextTest, InstalledBundlesAreFoundByIdentifierAndLocation) {
    auto const bundle = install("recorder");
    EXPECT_TRUE(context().GetBundle(bundle.GetBundleId()) == bundle);
    EXPECT_TRUE(context().GetBundle(0) == framework_);
    EXPECT_FALSE(context().GetBundle(-1));
    EXPECT_FALSE(context().GetBundle(bundle.GetBundleId() + 1000));
    EXPECT_THAT(context().GetBundles(locationOf("recorder")), ElementsAre(bundle));
    EXPECT_THAT(context().GetBundles("nowhere"), IsEmpty());
    EXPECT_THAT(context().GetBundles(), testing::UnorderedElementsAre(framework_, bundle));
}

TEST_F(BundleContextTest, AllBundlesAreListedInTheOrderOfTheirLocations) {
    auto const second = install("recorder");
    auto const third = install("registers_service");
    auto const first = install("manifest_only");
    // The location of the framework is "System Bundle", and "/" comes before "S".
    EXPECT_THAT(context().GetBundles(), ElementsAre(first, second, third, framework_));
    EXPECT_THAT(context().GetBundles(Constants::SYSTEM_BUNDLE_LOCATION), ElementsAre(framework_));
}

TEST_F(BundleContextTest, FileThatDoesNotExistIsNamed) {
    EXPECT_EQ(messageOf<std::runtime_error>([this] { context().InstallBundles("/nowhere/x.so"); }),
              "/nowhere/x.so does not exist");
    EXPECT_EQ(messageOf<std::runtime_error>([this] { context().InstallBundles("nowhere.so"); }),
              "nowhere.so does not exist");
    EXPECT_EQ(messageOf<std::runtime_error>([this] { context().InstallBundles(""); }), " does not exist");
}

TEST_F(BundleContextTest, FileThatIsNoBundleIsNamed) {
    for (auto const& path : {locationOf("no_bundle"), std::string("/etc/passwd"), std::string("/dev/null"),
                             std::filesystem::temp_directory_path().string()}) {
        EXPECT_THAT(messageOf<std::runtime_error>([&] { context().InstallBundles(path); }),
                    testing::HasSubstr(path));
    }
    EXPECT_THAT(context().GetBundles(), ElementsAre(framework_));
}

TEST_F(BundleContextTest, SameBundleFromAnotherLocationIsRefused) {
    auto const bundle = install("recorder");
    auto const other = std::string(SPF_TEST_BUNDLE_DIRECTORY) + "/./test_recorder.so";
    auto const refused = bundleInMessages(bundle.GetSymbolicName(), bundle.GetBundleId() + 1);
    EXPECT_EQ(
        messageOf<std::runtime_error>([&] { context().InstallBundles(other); }),
        "Failed to install bundle library at " + other + ": " + refused + " (location=" + other +
            "), a bundle with same symbolic name and version is already installed (test_recorder, 1.2.3)");
    EXPECT_THAT(context().GetBundles(other), IsEmpty());
}

TEST_F(BundleContextTest, ThreadsThatInstallTheSameBundleGetTheSame) {
    recordBundleEvents();
    std::vector<Bundle> bundles(8);
    std::vector<std::thread> threads;
    for (auto& bundle : bundles) {
        threads.emplace_back([this, &bundle] { bundle = install("recorder"); });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(bundles, testing::Each(bundles[0]));
    EXPECT_THAT(bundleEvents_.take(), ElementsAre("INSTALLED test_recorder"));
}

TEST_F(BundleContextTest, InvalidReferenceIsToldBeforeAnInvalidContext) {
    auto bundle = start("manifest_only");
    auto stopped = bundle.GetBundleContext();
    bundle.Stop();
    EXPECT_THROW(stopped.GetService(ServiceReference<int>()), std::invalid_argument);
    EXPECT_THROW(stopped.GetService(ServiceReferenceU()), std::invalid_argument);
    EXPECT_THROW(stopped.GetServiceObjects(ServiceReferenceU()), std::invalid_argument);
    EXPECT_THROW(BundleContext().GetService(ServiceReference<int>()), std::invalid_argument);
    EXPECT_THROW(BundleContext().GetServiceObjects(ServiceReferenceU()), std::runtime_error);
}

TEST_F(BundleContextTest, ServiceObjectsMadeWithAnInvalidContextThrowWhenTheyAreAsked) {
    auto const registration = context().RegisterService<int>(std::make_shared<int>());
    auto bundle = start("manifest_only");
    auto stopped = bundle.GetBundleContext();
    bundle.Stop();
    auto const objects = stopped.GetServiceObjects(registration.GetReference());
    EXPECT_EQ(messageOf<std::runtime_error>([&objects] { (void)objects.GetService(); }),
              "The bundle context is no longer valid");
}

class DataFileTest : public testing::Test {
protected:
    DataFileTest() { framework_.Start(); }
    ~DataFileTest() override {
        framework_.Stop();
        framework_.WaitForStop(failureTimeout);
        std::filesystem::remove_all(storage_);
    }

    Bundle startRecorder() const {
        auto bundle = framework_.GetBundleContext()
                          .InstallBundles(std::string(SPF_TEST_BUNDLE_DIRECTORY) + "/test_recorder.so")
                          .at(0);
        bundle.Start();
        return bundle;
    }

    std::string const storage_ =
        (std::filesystem::temp_directory_path() / ("spf-data-file-test-" + std::to_string(getpid())))
            .string();
    Framework framework_ =
        FrameworkFactory().NewFramework(FrameworkConfiguration{{Constants::FRAMEWORK_STORAGE, storage_}});
};

TEST_F(DataFileTest, LiesInADirectoryOfTheBundleThatIsMadeWhenItIsAskedFor) {
    auto const bundle = startRecorder();
    auto const directory = storage_ + "/data/" + std::to_string(bundle.GetBundleId()) + "/";
    EXPECT_FALSE(std::filesystem::exists(storage_));
    EXPECT_EQ(bundle.GetBundleContext().GetDataFile("a/b"), directory + "a/b");
    EXPECT_TRUE(std::filesystem::is_directory(directory));
    EXPECT_EQ(bundle.GetBundleContext().GetDataFile(""), directory);
}

TEST_F(DataFileTest, OutlivesAStopAndIsRemovedWithTheBundle) {
    auto bundle = startRecorder();
    auto const path = bundle.GetBundleContext().GetDataFile("x");
    std::ofstream(path) << "kept";
    bundle.Stop();
    EXPECT_TRUE(std::filesystem::exists(path));
    bundle.Uninstall();
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::path(path).parent_path()));
}

TEST_F(DataFileTest, OfADirectoryThatCannotBeMadeThrows) {
    std::ofstream(storage_) << "a file";
    auto const bundle = startRecorder();
    EXPECT_EQ(messageOf<std::invalid_argument>([&bundle] { bundle.GetBundleContext().GetDataFile("x"); }),
              "Not a directory");
}

TEST_F(DataFileTest, ThereIsNoneForTheFrameworkItselfNorWithoutStorage) {
    EXPECT_EQ(framework_.GetBundleContext().GetDataFile("x"), "");
    auto without = FrameworkFactory().NewFramework(
        FrameworkConfiguration{{Constants::FRAMEWORK_STORAGE, std::string()}});
    without.Start();
    auto bundle = without.GetBundleContext()
                      .InstallBundles(std::string(SPF_TEST_BUNDLE_DIRECTORY) + "/test_manifest_only.so")
                      .at(0);
    bundle.Start();
    EXPECT_EQ(bundle.GetBundleContext().GetDataFile("x"), "");
}

TEST_F(BundleContextTest, RemovedListenersAreNotCalled) {
    auto bundleToken = context().AddBundleListener([](BundleEvent const&) { ADD_FAILURE(); });
    auto frameworkToken = context().AddFrameworkListener([](FrameworkEvent const&) { ADD_FAILURE(); });
    auto serviceToken = context().AddServiceListener([](ServiceEvent const&) { ADD_FAILURE(); });
    EXPECT_TRUE(bundleToken);
    context().RemoveListener(std::move(bundleToken));
    EXPECT_FALSE(bundleToken);
    context().RemoveListener(std::move(frameworkToken));
    context().RemoveListener(std::move(serviceToken));
    context().RemoveListener(ListenerToken());
    auto const failing = install("throws_on_start");
    EXPECT_THROW(Bundle(failing).Start(), std::runtime_error);
    context().AddBundleListener([](BundleEvent const&) { throw std::runtime_error("no events today"); });
    install("recorder");
}

TEST_F(BundleContextTest, RemovedListenersAreDestroyed) {
    auto const captured = std::make_shared<int>();
    auto const remove = [this](ListenerToken token) { context().RemoveListener(std::move(token)); };
    remove(context().AddBundleListener([captured](BundleEvent const&) {}));
    remove(context().AddFrameworkListener([captured](FrameworkEvent const&) {}));
    remove(context().AddServiceListener([captured](ServiceEvent const&) {}));
    remove(context().AddServiceListener([captured](ServiceEvent const&) {}, "(objectclass=int)"));
    EXPECT_EQ(captured.use_count(), 1);
}

TEST_F(BundleContextTest, TokenThatWasMovedFromIsEmpty) {
    auto token = context().AddBundleListener([](BundleEvent const&) {});
    ListenerToken assigned;
    assigned = std::move(token);
    EXPECT_FALSE(token);
    EXPECT_TRUE(assigned);
    ListenerToken const made(std::move(assigned));
    EXPECT_FALSE(assigned);
    EXPECT_TRUE(made);
}

TEST_F(BundleContextTest, ListenerThatRemovesItselfIsCalledOnce) {
    int calls = 0;
    ListenerToken token;
    token = context().AddBundleListener([&](BundleEvent const&) {
        ++calls;
        context().RemoveListener(std::move(token));
    });
    install("recorder");
    install("manifest_only");
    EXPECT_EQ(calls, 1);
}

TEST_F(BundleContextTest, FrameworkListenerThatThrowsDisturbsNothing) {
    context().AddFrameworkListener(
        [](FrameworkEvent const&) { throw std::runtime_error("no reports today"); });
    recordFrameworkEvents();
    context().AddBundleListener([](BundleEvent const&) { throw std::runtime_error("no events today"); });
    install("recorder");
    EXPECT_THAT(frameworkEvents_.take(), SizeIs(1));
}
