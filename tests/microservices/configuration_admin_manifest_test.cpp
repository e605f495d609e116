// Configurations that bundles bring along in their manifests.
#include "ConfigurationAdminFixture.hpp"
#include "givenManifests.hpp"

namespace configuration_admin_test {

using cppmicroservices::Bundle;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class ConfigurationAdminManifest : public ConfigurationAdminTest {
protected:
    using AnyVector = std::vector<Any>;
    using Call = RecordingFactory::Call;

    static AnyMap mapOf(std::initializer_list<AnyMap::value_type> entries) {
        return {AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS, entries};
    }

    static Any configuration(std::string const& pid, AnyMap const& properties) {
        return mapOf({{"pid", pid}, {"properties", properties}});
    }

    static AnyMap section(AnyVector const& configurations) {
        return mapOf({{"version", 1}, {"configurations", configurations}});
    }

    // With this section in the manifest.
    Bundle install(Any const& section, std::string const& file = "manifest_only") {
        auto const name = "given" + std::to_string(++installed_);
        auto headers = givenHeaders(name);
        headers["cm"] = section;
        return context_.InstallBundles(locationOf(file), mapOf({{name, headers}})).at(0);
    }

    Bundle installAndStart(Any const& section, std::string const& file = "manifest_only") {
        auto bundle = install(section, file);
        bundle.Start();
        return bundle;
    }

    static std::string locationOf(std::string const& file) {
        return SPF_TEST_BUNDLE_DIRECTORY "/test_" + file + ".so";
    }

    // PIDs and numbers of all configurations.
    std::vector<std::pair<std::string, int>> all() {
        std::vector<std::pair<std::string, int>> result;
        for (auto const& configuration : admin_->ListConfigurations()) {
            result.emplace_back(configuration->GetPid(), numberIn(configuration->GetProperties()));
        }
        return result;
    }

    // The PIDs of what comes of this section; it is gone when the bundle stops.
    std::vector<std::string> pidsFrom(Any const& section) {
        auto bundle = installAndStart(section);
        std::vector<std::string> pids;
        for (auto const& [pid, number] : all()) {
            pids.push_back(pid);
        }
        bundle.Uninstall();
        EXPECT_THAT(all(), IsEmpty());
        return pids;
    }

    void restartAdmin() {
        admin_.reset();
        bundle_.Stop();
        bundle_.Start();
        admin_ = findAdmin();
    }

private:
    int installed_ = 0;
};

TEST_F(ConfigurationAdminManifest, OfAFileIsRead) {
    auto bundle = context_.InstallBundles(locationOf("brings_configurations")).at(0);
    bundle.Start();
    EXPECT_THAT(all(), UnorderedElementsAre(std::pair("brought", 7), std::pair("factory~brought", 8)));
    auto const brought = admin_->GetConfiguration("brought");
    EXPECT_EQ(brought->GetChangeCount(), 1U);
    EXPECT_TRUE(cppmicroservices::any_cast<bool>(brought->GetProperties().AtCompoundKey("nested.flag")));
    EXPECT_EQ(admin_->GetConfiguration("factory~brought")->GetFactoryPid(), "factory");
}

TEST_F(ConfigurationAdminManifest, ConfigurationsAreThereWhileTheBundleIsActive) {
    auto bundle = install(section({configuration("pid", numbered(1))}));
    EXPECT_THAT(all(), IsEmpty());
    bundle.Start();
    EXPECT_THAT(all(), ElementsAre(std::pair("pid", 1)));
    bundle.Stop();
    EXPECT_THAT(all(), IsEmpty());
    bundle.Start();
    EXPECT_THAT(all(), ElementsAre(std::pair("pid", 1)));
    bundle.Uninstall();
    EXPECT_THAT(all(), IsEmpty());
}

TEST_F(ConfigurationAdminManifest, OfBundlesThatAreNotActiveBringNoneWhenTheAdminStarts) {
    install(section({configuration("pid", numbered(1))}));
    restartAdmin();
    EXPECT_THAT(all(), IsEmpty());
}

TEST_F(ConfigurationAdminManifest, ABundleThatFailsToStartBringsNone) {
    auto const listener = registerListener();
    auto headers = givenHeaders("test_throws_on_start");
    headers["bundle.activator"] = true;
    headers["cm"] = section({configuration("pid", numbered(1))});
    auto bundle =
        context_.InstallBundles(locationOf("throws_on_start"), mapOf({{"test_throws_on_start", headers}}))
            .at(0);
    EXPECT_THROW(bundle.Start(), std::runtime_error);
    EXPECT_THAT(all(), IsEmpty());
    admin_->GetConfiguration("other")->Update(numbered(2)).get(); // only this is told
    ASSERT_TRUE(listener->events.reaches(1));
    EXPECT_EQ(listener->events.values().front().getPid(), "other");
}

TEST_F(ConfigurationAdminManifest, ServicesAreToldAsOfAnyOther) {
    auto const service = registerService("pid");
    auto const factory = registerFactory("factory");
    auto const listener = registerListener();
    auto bundle = installAndStart(
        section({configuration("pid", numbered(1)), configuration("factory~one", numbered(2))}));
    ASSERT_TRUE(service->updates.reaches(1));
    ASSERT_TRUE(factory->calls.reaches(1));
    bundle.Stop();
    ASSERT_TRUE(service->updates.reaches(2));
    ASSERT_TRUE(factory->calls.reaches(2));
    ASSERT_TRUE(listener->events.reaches(4));
    EXPECT_THAT(service->numbers(), ElementsAre(1, -1));
    EXPECT_THAT(factory->calls.values(),
                ElementsAre(Call{"factory~one", 2}, Call{"factory~one", RecordingFactory::removed}));
}

TEST_F(ConfigurationAdminManifest, OfBundlesThatAreActiveAlreadyAreThereFromTheStart) {
    installAndStart(section({configuration("pid", numbered(1))}));
    restartAdmin();
    EXPECT_THAT(all(), ElementsAre(std::pair("pid", 1)));
}

TEST_F(ConfigurationAdminManifest, StoppingConfigurationAdminRemovesThem) {
    installAndStart(section({configuration("pid", numbered(1))}));
    auto const held = admin_->GetConfiguration("pid");
    EXPECT_EQ(held->GetPid(), "pid");
    admin_.reset();
    bundle_.Stop();
    EXPECT_THROW(held->GetPid(), std::runtime_error);
}

TEST_F(ConfigurationAdminManifest, AConfigurationThatWasChangedStays) {
    auto bundle = installAndStart(section({configuration("pid", numbered(1))}));
    admin_->GetConfiguration("pid")->Update(numbered(2)).get();
    bundle.Stop();
    EXPECT_THAT(all(), ElementsAre(std::pair("pid", 2)));
    bundle.Start();
    EXPECT_THAT(all(), ElementsAre(std::pair("pid", 1)));
    EXPECT_EQ(admin_->GetConfiguration("pid")->GetChangeCount(), 3U);
    bundle.Stop();
    EXPECT_THAT(all(), IsEmpty());
}

TEST_F(ConfigurationAdminManifest, AConfigurationThatWasRemovedAndMadeAnewStays) {
    auto bundle = installAndStart(section({configuration("pid", numbered(1))}));
    admin_->GetConfiguration("pid")->Remove().get();
    EXPECT_THAT(all(), IsEmpty());
    admin_->GetConfiguration("pid")->Update(numbered(1)).get();
    bundle.Stop();
    EXPECT_THAT(all(), ElementsAre(std::pair("pid", 1)));
}

TEST_F(ConfigurationAdminManifest, AClientsConfigurationWithTheSamePropertiesStaysTheClients) {
    admin_->GetConfiguration("pid")->Update(numbered(1)).get();
    auto bundle = installAndStart(section({configuration("pid", numbered(1))}));
    EXPECT_EQ(admin_->GetConfiguration("pid")->GetChangeCount(), 1U);
    bundle.Stop();
    EXPECT_THAT(all(), ElementsAre(std::pair("pid", 1)));
}

TEST_F(ConfigurationAdminManifest, AClientsConfigurationWithOtherPropertiesIsTakenOver) {
    admin_->GetConfiguration("pid")->Update(numbered(1)).get();
    auto bundle = installAndStart(section({configuration("pid", numbered(2))}));
    EXPECT_THAT(all(), ElementsAre(std::pair("pid", 2)));
    bundle.Stop();
    EXPECT_THAT(all(), IsEmpty());
}

TEST_F(ConfigurationAdminManifest, AConfigurationThatNobodyUpdatedIsTakenOver) {
    auto const same = admin_->GetConfiguration("same");
    auto const other = admin_->GetConfiguration("other");
    auto bundle =
        installAndStart(section({configuration("same", mapOf({})), configuration("other", numbered(1))}));
    EXPECT_EQ(same->GetChangeCount(), 0U);
    EXPECT_EQ(other->GetChangeCount(), 1U);
    bundle.Stop();
    EXPECT_THROW(same->GetPid(), std::runtime_error);
    EXPECT_THROW(other->GetPid(), std::runtime_error);
}

TEST_F(ConfigurationAdminManifest, ANewConfigurationIsUpdatedEvenWithoutProperties) {
    installAndStart(section({configuration("pid", mapOf({}))}));
    EXPECT_EQ(admin_->GetConfiguration("pid")->GetChangeCount(), 1U);
}

TEST_F(ConfigurationAdminManifest, OfSeveralBundlesWithOnePidTheLastOneToChangeItRemovesIt) {
    auto first = installAndStart(section({configuration("pid", numbered(1))}));
    auto second = installAndStart(section({configuration("pid", numbered(2))}), "no_activator");
    EXPECT_THAT(all(), ElementsAre(std::pair("pid", 2)));
    first.Stop();
    EXPECT_THAT(all(), ElementsAre(std::pair("pid", 2)));
    second.Stop();
    EXPECT_THAT(all(), IsEmpty());
}

TEST_F(ConfigurationAdminManifest, OfSeveralBundlesWithOnePidAndTheSamePropertiesTheFirstRemovesIt) {
    auto first = installAndStart(section({configuration("pid", numbered(1))}));
    auto second = installAndStart(section({configuration("pid", numbered(1))}), "no_activator");
    EXPECT_EQ(admin_->GetConfiguration("pid")->GetChangeCount(), 1U);
    first.Stop();
    EXPECT_THAT(all(), IsEmpty());
    second.Stop();
    EXPECT_THAT(all(), IsEmpty());
}

TEST_F(ConfigurationAdminManifest, KeysAreReadWithoutRegardToCase) {
    EXPECT_THAT(pidsFrom(mapOf({{"Version", 1},
                                {"CONFIGURATIONS", AnyVector{mapOf({{"PID", std::string("pid")},
                                                                    {"Properties", numbered(1)}})}}})),
                ElementsAre("pid"));
}

TEST_F(ConfigurationAdminManifest, APropertyMapKeepsItsKind) {
    installAndStart(section({configuration("pid", AnyMap{AnyMap::ORDERED_MAP, {{"number", 1}}})}));
    EXPECT_EQ(admin_->GetConfiguration("pid")->GetProperties().GetType(), AnyMap::ORDERED_MAP);
}

TEST_F(ConfigurationAdminManifest, OfAnotherVersionIsPassedOver) {
    AnyVector const some{configuration("pid", numbered(1))};
    EXPECT_THAT(pidsFrom(mapOf({{"configurations", some}})), IsEmpty());
    for (auto const& version :
         {Any(0), Any(2), Any(-1), Any(1L), Any(1.0), Any(true), Any(std::string("1"))}) {
        EXPECT_THAT(pidsFrom(mapOf({{"version", version}, {"configurations", some}})), IsEmpty())
            << version.Type().name() << ' ' << version.ToString();
    }
}

TEST_F(ConfigurationAdminManifest, ThatIsNoListOfMapsIsPassedOver) {
    auto const good = configuration("pid", numbered(1));
    EXPECT_THAT(pidsFrom(5), IsEmpty());
    EXPECT_THAT(pidsFrom(AnyVector{good}), IsEmpty());
    EXPECT_THAT(pidsFrom(mapOf({{"version", 1}})), IsEmpty());
    EXPECT_THAT(pidsFrom(mapOf({{"version", 1}, {"configurations", good}})), IsEmpty());
    EXPECT_THAT(pidsFrom(section({})), IsEmpty());
    EXPECT_THAT(pidsFrom(section({good, 5})), IsEmpty());
    EXPECT_THAT(pidsFrom(section({Any(), good})), IsEmpty());
}

TEST_F(ConfigurationAdminManifest, IncompleteConfigurationsArePassedOver) {
    auto const good = configuration("pid", numbered(1));
    auto const text = std::string("other");
    for (auto const& incomplete :
         {mapOf({}), mapOf({{"properties", numbered(1)}}), mapOf({{"pid", text}}),
          mapOf({{"pid", 5}, {"properties", numbered(1)}}), mapOf({{"pid", text}, {"properties", 5}})}) {
        EXPECT_THAT(pidsFrom(section({incomplete, good})), ElementsAre("pid")) << Any(incomplete).ToJSON();
        EXPECT_THAT(pidsFrom(section({good, incomplete})), ElementsAre("pid")) << Any(incomplete).ToJSON();
    }
}

} // namespace configuration_admin_test
