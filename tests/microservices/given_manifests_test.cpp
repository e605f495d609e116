// Manifests that are given when a file is installed, in place of what the file says.
#include "FrameworkFixture.hpp"
#include "bundleInMessages.hpp"
#include "givenManifests.hpp"

#include <cppmicroservices/Constants.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

using namespace cppmicroservices;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

class GivenManifestsTest : public FrameworkTest {
protected:
    // With headers_ in place of what the file says.
    Bundle installAs(std::string const& name, std::string const& file = "manifest_only") {
        return context().InstallBundles(locationOf(file), manifestOf(name)).at(0);
    }
    AnyMap manifestOf(std::string const& name) const {
        AnyMap manifests(any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
        manifests[name] = headers_;
        return manifests;
    }
    // What is wrong with the manifests, of which nothing must have been installed.
    std::string refusalOf(AnyMap const& manifests, std::string const& file = "manifest_only") {
        auto const before = context().GetBundles();
        auto const message =
            messageOf<std::runtime_error>([&] { context().InstallBundles(locationOf(file), manifests); });
        EXPECT_EQ(context().GetBundles(), before);
        auto const prefix = "Failed to install bundle library at " + locationOf(file) + ": ";
        EXPECT_THAT(message, testing::StartsWith(prefix));
        return message.substr(std::min(prefix.size(), message.size()));
    }
    static std::vector<std::string> namesOf(std::vector<Bundle> const& bundles) {
        std::vector<std::string> names;
        for (auto const& bundle : bundles) {
            names.push_back(bundle.GetSymbolicName());
        }
        return names;
    }

    std::string const placeInMessages_ = "(location=" + locationOf("manifest_only") + ")";
    AnyMap headers_ = givenHeaders("given");
};

TEST_F(GivenManifestsTest, IsTakenInPlaceOfTheFiles) {
    headers_[Constants::BUNDLE_VERSION] = std::string("4.5.6");
    auto bundle = installAs("given");
    EXPECT_EQ(bundle.GetSymbolicName(), "given");
    EXPECT_EQ(bundle.GetVersion(), BundleVersion(4, 5, 6));
    bundle.Start();
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_ACTIVE);
}

TEST_F(GivenManifestsTest, IsNamedByItsKeyWhateverItsHeadersSay) {
    EXPECT_EQ(installAs("key").GetSymbolicName(), "key");
    headers_[Constants::BUNDLE_SYMBOLICNAME] = 5;
    auto const bundle = installAs("other", "recorder");
    EXPECT_EQ(bundle.GetSymbolicName(), "other");
    EXPECT_EQ(any_cast<int>(bundle.GetHeaders().at(Constants::BUNDLE_SYMBOLICNAME)), 5);
}

TEST_F(GivenManifestsTest, WhoseActivatorIsNeitherTrueNorFalseHasNoneAndIsWarnedOf) {
    headers_[Constants::BUNDLE_ACTIVATOR] = std::string("true");
    auto bundle = installAs("given", "no_activator");
    recordFrameworkEvents();
    bundle.Start();
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_ACTIVE);
    EXPECT_THAT(frameworkEvents_.take(),
                ElementsAre(testing::AllOf(
                    testing::StartsWith("WARNING given Failed to read 'bundle.activator' property. Expected "
                                        "type : b, Found type : "),
                    testing::HasSubstr("BadAnyCastException"))));
}

TEST_F(GivenManifestsTest, ThatIsRefusedUsesUpAnIdentifier) {
    auto const first = installAs("given").GetBundleId();
    EXPECT_THROW(installAs("given", "recorder"), std::runtime_error); // there already
    EXPECT_EQ(installAs("next", "recorder").GetBundleId(), first + 2);
    headers_.erase(Constants::BUNDLE_SYMBOLICNAME);
    headers_[Constants::BUNDLE_VERSION] = std::string("1");
    EXPECT_THROW(installAs("nameless", "no_activator"), std::runtime_error);
    EXPECT_EQ(install("no_activator").GetBundleId(), first + 4);
}

TEST_F(GivenManifestsTest, WhoseActivatorIsEmptyIsNotWarnedOf) {
    headers_[Constants::BUNDLE_ACTIVATOR] = Any();
    auto bundle = installAs("given");
    recordFrameworkEvents();
    bundle.Start();
    EXPECT_THAT(frameworkEvents_.take(), IsEmpty());
}

TEST_F(GivenManifestsTest, InstallABundleEachInTheOrderOfTheirNames) {
    recordBundleEvents();
    auto const bundles =
        context().InstallBundles(locationOf("manifest_only"), givenManifests({"c", "a", "B"}));
    EXPECT_THAT(namesOf(bundles), ElementsAre("B", "a", "c"));
    for (std::size_t index = 1; index < bundles.size(); ++index) {
        EXPECT_EQ(bundles[index].GetBundleId(), bundles[0].GetBundleId() + static_cast<long>(index));
    }
    EXPECT_THAT(bundleEvents_.take(), ElementsAre("INSTALLED B", "INSTALLED a", "INSTALLED c"));
    EXPECT_THAT(context().GetBundles(locationOf("manifest_only")), ElementsAreArray(bundles));
}

TEST_F(GivenManifestsTest, AreAllInstalledWhenTheFirstIsTold) {
    std::vector<std::vector<std::string>> seen;
    auto token = context().AddBundleListener(
        [this, &seen](BundleEvent const&) { seen.push_back(namesOf(context().GetBundles())); });
    context().InstallBundles(locationOf("manifest_only"), givenManifests({"a", "b"}));
    context().RemoveListener(std::move(token));
    EXPECT_THAT(seen, testing::Each(ElementsAre("a", "b", "system_bundle")));
    EXPECT_THAT(seen, testing::SizeIs(2));
}

TEST_F(GivenManifestsTest, StartEachBundleOfAFileWithItsOwnActivator) {
    auto manifests = givenManifests({});
    for (char const* name : {"test_pair", "test_pair_second"}) {
        headers_[Constants::BUNDLE_SYMBOLICNAME] = std::string(name);
        headers_[Constants::BUNDLE_ACTIVATOR] = true;
        manifests[name] = headers_;
    }
    auto bundles = context().InstallBundles(locationOf("pair"), manifests);
    bundles.at(1).Start();
    EXPECT_EQ(bundles.at(0).GetState(), Bundle::STATE_INSTALLED);
    bundles.at(0).Start();
    bundles.at(1).Stop();
    EXPECT_THAT(records_.take(),
                ElementsAre("test_pair_second start", "test_pair start", "test_pair_second stop"));
}

TEST_F(GivenManifestsTest, ForALocationWhoseBundlesAreThereChangeNothing) {
    auto const bundles = context().InstallBundles(locationOf("manifest_only"), givenManifests({"a", "b"}));
    recordBundleEvents();
    auto manifests = givenManifests({"b", "c"});
    manifests["d"] = 5;
    EXPECT_EQ(context().InstallBundles(locationOf("manifest_only"), manifests), bundles);
    EXPECT_EQ(context().InstallBundles(locationOf("manifest_only")), bundles);
    EXPECT_THAT(bundleEvents_.take(), IsEmpty());
}

TEST_F(GivenManifestsTest, InstallAgainWhatWasUninstalledFromALocationWithOtherBundles) {
    auto bundles = context().InstallBundles(locationOf("manifest_only"), givenManifests({"a", "b", "c"}));
    bundles.at(0).Uninstall();
    EXPECT_EQ(refusalOf(givenManifests({"b", "c"})),
              "bundle.symbolic_name is not defined in the bundle manifest for bundle a " + placeInMessages_ +
                  ".");
    // The file has been asked for the missing manifest, and what it holds has become known.
    auto const again = context().InstallBundles(locationOf("manifest_only"), givenManifests({"a", "d"}));
    EXPECT_THAT(namesOf(again), ElementsAre("b", "c", "a", "test_manifest_only"));
    for (auto bundle : again) {
        bundle.Uninstall();
    }
    EXPECT_THAT(namesOf(context().InstallBundles(locationOf("manifest_only"), givenManifests({"d"}))),
                ElementsAre("d"));
}

TEST_F(GivenManifestsTest, ThatAreRefusedWithoutALookAtTheFileLeaveUnknownWhatItHolds) {
    auto bundles = context().InstallBundles(locationOf("manifest_only"), givenManifests({"a", "b"}));
    bundles.at(1).Uninstall();
    headers_[Constants::BUNDLE_VERSION] = std::string("one");
    EXPECT_THAT(refusalOf(manifestOf("b")), testing::EndsWith("invalid format"));
    EXPECT_THAT(namesOf(context().InstallBundles(locationOf("manifest_only"), givenManifests({"b"}))),
                ElementsAre("a", "b"));
}

TEST_F(GivenManifestsTest, OfALocationThatHasNoBundleLeftAreForgotten) {
    for (auto bundle : context().InstallBundles(locationOf("manifest_only"), givenManifests({"a", "b"}))) {
        bundle.Uninstall();
    }
    auto const bundles = context().InstallBundles(locationOf("manifest_only"), givenManifests({"c"}));
    EXPECT_EQ(context().InstallBundles(locationOf("manifest_only"), givenManifests({"a"})), bundles);
}

TEST_F(GivenManifestsTest, ThatAreEmptyStandForTheFilesOwn) {
    auto manifests = givenManifests({"a"});
    manifests["test_recorder"] = AnyMap(any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    auto bundles = context().InstallBundles(locationOf("recorder"), manifests);
    EXPECT_THAT(namesOf(bundles), ElementsAre("a", "test_recorder"));
    EXPECT_EQ(bundles.at(1).GetVersion(), BundleVersion(1, 2, 3));
    bundles.at(1).Start();
    EXPECT_THAT(records_.take(), ElementsAre("test_recorder start"));
    auto others = givenManifests({"c"});
    others["b"] = AnyMap(any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    EXPECT_EQ(refusalOf(others), "bundle.symbolic_name is not defined in the bundle manifest for bundle b " +
                                     placeInMessages_ + ".");
}

TEST_F(GivenManifestsTest, ThatAreNoMapsOfHeadersAreRefused) {
    auto manifests = givenManifests({"a", "c"});
    manifests["b"] = 5;
    EXPECT_EQ(refusalOf(manifests), "cppmicroservices::BadAnyCastException: any_cast: Failed to convert from "
                                    "cppmicroservices::Any type int to target type cppmicroservices::AnyMap");
    manifests["b"] = Any();
    EXPECT_EQ(refusalOf(manifests),
              "cppmicroservices::BadAnyCastException: any_cast: Failed to convert from "
              "cppmicroservices::Any type void to target type cppmicroservices::AnyMap");
}

TEST_F(GivenManifestsTest, WithoutNameAreRefused) {
    headers_[Constants::BUNDLE_SYMBOLICNAME] = std::string();
    auto const isEmpty =
        "bundle.symbolic_name is empty in the bundle manifest for bundle given" + placeInMessages_ + ".";
    EXPECT_EQ(refusalOf(manifestOf("given")), isEmpty);
    headers_[Constants::BUNDLE_SYMBOLICNAME] = Any();
    EXPECT_EQ(refusalOf(manifestOf("given")), isEmpty);
    headers_.erase(Constants::BUNDLE_SYMBOLICNAME);
    headers_["x"] = 1;
    EXPECT_EQ(refusalOf(manifestOf("given")),
              "bundle.symbolic_name is not defined in the bundle manifest for bundle given " +
                  placeInMessages_ + ".");
}

TEST_F(GivenManifestsTest, WithABadVersionAreRefused) {
    auto const notValid = "The Json value for bundle.version for bundle given " + placeInMessages_ +
                          " is not valid: The version identifier ";
    headers_.erase(Constants::BUNDLE_SYMBOLICNAME); // which is looked for later
    headers_[Constants::BUNDLE_VERSION] = std::string("one");
    EXPECT_EQ(refusalOf(manifestOf("given")), notValid + "is invalid: invalid format");
    headers_[Constants::BUNDLE_VERSION] = 1;
    EXPECT_EQ(refusalOf(manifestOf("given")), notValid + "must be a string");
    headers_[Constants::BUNDLE_VERSION] = Any();
    EXPECT_EQ(refusalOf(manifestOf("given")), notValid + "is invalid: empty any");
}

TEST_F(GivenManifestsTest, WithAnUndefinedVersionAreRefusedBesideAnotherVersion) {
    headers_[Constants::BUNDLE_VERSION] = std::string();
    EXPECT_EQ(installAs("given").GetVersion().ToString(), "undefined");
    EXPECT_THAT(refusalOf(manifestOf("given"), "recorder"), testing::EndsWith("(given, undefined)"));
    headers_.erase(Constants::BUNDLE_VERSION);
    installAs("given", "recorder");
    headers_[Constants::BUNDLE_VERSION] = std::string();
    EXPECT_EQ(refusalOf(manifestOf("given"), "no_activator"), "Version undefined");
}

TEST_F(GivenManifestsTest, AreRefusedForTheFirstThatIsBadAndUseUpAnIdentifierEach) {
    auto const first = installAs("b", "recorder").GetBundleId();
    auto manifests = givenManifests({"a", "b", "d"});
    headers_[Constants::BUNDLE_VERSION] = std::string("one");
    manifests["c"] = headers_;
    EXPECT_THAT(refusalOf(manifests), testing::EndsWith("already installed (b, 0.0.0)"));
    EXPECT_EQ(install("no_activator").GetBundleId(), first + 5);
    manifests["b"] = 5;
    EXPECT_THAT(refusalOf(manifests), testing::HasSubstr("BadAnyCastException"));
    EXPECT_EQ(install("scripted_one").GetBundleId(), first + 7);
}
