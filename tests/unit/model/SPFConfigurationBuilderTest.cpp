// The client's builder: what each content operation changes, how mappings are checked, and what build()
// leaves.
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"

#include <algorithm>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model/SPFConfigurationBuilderImpl.hpp"
#include "support/HostTest.hpp"
#include "support/describe.hpp"

namespace agent::spf::frameworksetup::test {
namespace {

using boost::property_tree::ptree;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

std::vector<std::string> interfacesOf(SPFConfigurationBuilderImpl const& content) {
    std::vector<std::string> result;
    for (auto const& entry : content.serviceInterfaces) {
        result.push_back(entry.configuration.uniqueID + " " + entry.configuration.name +
                         (entry.mappedToAllServicePublishers ? " *" : ""));
    }
    std::sort(result.begin(), result.end());
    return result;
}

std::vector<std::string> publishersOf(SPFConfigurationBuilderImpl const& content) {
    std::vector<std::string> result;
    for (auto const& publisher : content.servicePublishers) {
        result.push_back(publisher.uniqueID + " " + publisher.name);
    }
    std::sort(result.begin(), result.end());
    return result;
}

std::vector<std::string> mappingsOf(SPFConfigurationBuilderImpl const& content) {
    std::vector<std::string> result;
    for (auto const& mapping : content.serviceMappings) {
        result.push_back("(" + mapping.serviceID + ", " + mapping.publisherID + ")");
    }
    return result;
}

ptree properties(std::string const& value) {
    ptree tree;
    tree.put("property", value);
    return tree;
}

SPFServiceInterfaceConfiguration interfaceNamed(std::string uniqueID, std::string name = {}) {
    return {std::move(uniqueID), std::move(name), {}};
}

SPFServicePublisherConfiguration publisherNamed(std::string uniqueID, std::string name = {}) {
    return {std::move(uniqueID), std::move(name), {}, {}, {}, {}};
}

// A builder whose content the test sees.
class SPFConfigurationBuilderContent : public ::testing::Test {
protected:
    SPFConfigurationBuilderContent()
        : SPFConfigurationBuilderContent(std::make_unique<SPFConfigurationBuilderImpl>("id")) {}

    SPFConfigurationBuilderImpl& content;
    SPFConfigurationBuilder builder;

private:
    explicit SPFConfigurationBuilderContent(std::unique_ptr<SPFConfigurationBuilderImpl> made)
        : content(*made)
        , builder(std::move(made)) {}
};

TEST_F(SPFConfigurationBuilderContent, AddServiceInterfaceAddsAnUnmappedOne) {
    builder.addServiceInterface({"i", "name", properties("value")});
    EXPECT_THAT(interfacesOf(content), ElementsAre("i name"));
    EXPECT_EQ(content.serviceInterfaces.find("i")->configuration.requestedProperties, properties("value"));
    EXPECT_THAT(mappingsOf(content), IsEmpty());
}

TEST_F(SPFConfigurationBuilderContent, AddServiceInterfaceReplacesNameAndPropertiesOfTheSameID) {
    builder.addServiceInterface({"i", "old", properties("old")});
    builder.addServiceInterface({"i", "new", properties("new")});
    EXPECT_THAT(interfacesOf(content), ElementsAre("i new"));
    EXPECT_EQ(content.serviceInterfaces.find("i")->configuration.requestedProperties, properties("new"));
}

TEST_F(SPFConfigurationBuilderContent, AddServiceInterfaceKeepsEqualNamesApart) {
    builder.addServiceInterface(interfaceNamed("1", "same")).addServiceInterface(interfaceNamed("2", "same"));
    EXPECT_THAT(interfacesOf(content), ElementsAre("1 same", "2 same"));
}

TEST_F(SPFConfigurationBuilderContent, AddServiceInterfaceTakesAnEmptyID) {
    builder.addServiceInterface(interfaceNamed("", "first"))
        .addServiceInterface(interfaceNamed("", "second"));
    EXPECT_THAT(interfacesOf(content), ElementsAre(" second"));
}

TEST_F(SPFConfigurationBuilderContent, AddServiceInterfaceLeavesAMappingToAllPublishers) {
    builder.addServiceInterfaceToAllServicePublishers(interfaceNamed("i", "old"));
    builder.addServiceInterface(interfaceNamed("i", "new"));
    EXPECT_THAT(interfacesOf(content), ElementsAre("i new *"));
}

TEST_F(SPFConfigurationBuilderContent, AddServiceInterfaceOfThreeValuesMakesTheRecord) {
    builder.addServiceInterface("i", "name", properties("a/b"));
    EXPECT_THAT(interfacesOf(content), ElementsAre("i name"));
    EXPECT_EQ(content.serviceInterfaces.find("i")->configuration.requestedProperties, properties("a/b"));
}

TEST_F(SPFConfigurationBuilderContent, AddServiceInterfaceToServicePublisherMapsAndAddsTheInterface) {
    builder.addServiceInterfaceToServicePublisher("p", interfaceNamed("i", "name"));
    EXPECT_THAT(interfacesOf(content), ElementsAre("i name"));
    EXPECT_THAT(mappingsOf(content), ElementsAre("(i, p)"));
}

TEST_F(SPFConfigurationBuilderContent, AddServiceInterfaceToServicePublisherLeavesAMappingToAllPublishers) {
    builder.addServiceInterfaceToAllServicePublishers(interfaceNamed("i", "old"));
    builder.addServiceInterfaceToServicePublisher("p", interfaceNamed("i", "new"));
    EXPECT_THAT(interfacesOf(content), ElementsAre("i new *"));
    EXPECT_THAT(mappingsOf(content), ElementsAre("(i, p)"));
}

TEST_F(SPFConfigurationBuilderContent, AddServiceInterfaceToServicePublisherTwiceMapsOnce) {
    builder.addServiceInterfaceToServicePublisher("p", interfaceNamed("i"));
    builder.addServiceInterfaceToServicePublisher("p", interfaceNamed("i"));
    EXPECT_THAT(mappingsOf(content), ElementsAre("(i, p)"));
}

TEST_F(SPFConfigurationBuilderContent, AddServiceInterfaceToServicePublisherOfThreeValuesMakesTheRecord) {
    builder.addServiceInterfaceToServicePublisher("p", "i", "name", properties("value"));
    EXPECT_THAT(interfacesOf(content), ElementsAre("i name"));
    EXPECT_EQ(content.serviceInterfaces.find("i")->configuration.requestedProperties, properties("value"));
    EXPECT_THAT(mappingsOf(content), ElementsAre("(i, p)"));
}

TEST_F(SPFConfigurationBuilderContent, AddServiceInterfaceToAllServicePublishersSetsTheFlagAndMapsNothing) {
    builder.addServicePublisher(publisherNamed("p"));
    builder.addServiceInterfaceToAllServicePublishers(interfaceNamed("i", "name"));
    EXPECT_THAT(interfacesOf(content), ElementsAre("i name *"));
    EXPECT_THAT(mappingsOf(content), IsEmpty());
}

TEST_F(SPFConfigurationBuilderContent, AddServiceInterfaceToAllServicePublishersReplacesAndSetsTheFlag) {
    builder.addServiceInterface({"i", "old", properties("old")});
    builder.addServiceInterfaceToAllServicePublishers({"i", "new", properties("new")});
    EXPECT_THAT(interfacesOf(content), ElementsAre("i new *"));
    EXPECT_EQ(content.serviceInterfaces.find("i")->configuration.requestedProperties, properties("new"));
}

TEST_F(SPFConfigurationBuilderContent, AddServiceInterfaceToAllServicePublishersOfThreeValuesMakesTheRecord) {
    builder.addServiceInterfaceToAllServicePublishers("i", "name", properties("value"));
    EXPECT_THAT(interfacesOf(content), ElementsAre("i name *"));
    EXPECT_EQ(content.serviceInterfaces.find("i")->configuration.requestedProperties, properties("value"));
}

TEST_F(SPFConfigurationBuilderContent, RemoveServiceInterfaceErasesItAndItsMappings) {
    builder.addServiceInterfaceToServicePublisher("p1", interfaceNamed("i"))
        .addServiceInterfaceToServicePublisher("p2", interfaceNamed("i"))
        .addServiceInterfaceToServicePublisher("p1", interfaceNamed("j"))
        .removeServiceInterface("i");
    EXPECT_THAT(interfacesOf(content), ElementsAre("j "));
    EXPECT_THAT(mappingsOf(content), ElementsAre("(j, p1)"));
}

TEST_F(SPFConfigurationBuilderContent, RemoveServiceInterfaceErasesMappingsOfAnInterfaceThatWasNeverAdded) {
    builder.addServiceMapping("i", "p1").addServiceMapping("i", "p2").addServiceMapping("ii", "p1");
    builder.removeServiceInterface("i");
    EXPECT_THAT(mappingsOf(content), ElementsAre("(ii, p1)"));
}

TEST_F(SPFConfigurationBuilderContent, AddServicePublisherAddsAndReplacesEveryMember) {
    builder.addServicePublisher({"p", "old", {Any(1)}, {Any(2)}, "old", "old"});
    builder.addServicePublisher({"p", "new", {Any(3)}, {Any(4)}, "import", "export"});
    ASSERT_THAT(publishersOf(content), ElementsAre("p new"));
    auto const& publisher = *content.servicePublishers.find("p");
    EXPECT_EQ(describe(publisher.endpointsToConnectTo), "[3]");
    EXPECT_EQ(describe(publisher.endpointsToBindTo), "[4]");
    EXPECT_EQ(publisher.importFilter, "import");
    EXPECT_EQ(publisher.exportFilter, "export");
}

TEST_F(SPFConfigurationBuilderContent, AddServicePublisherStoresSetsAsStringsInAscendingOrder) {
    builder.addServicePublisher("p", "name", {"b", "a"}, {"d", "c"}, "import", "export");
    ASSERT_THAT(publishersOf(content), ElementsAre("p name"));
    auto const& publisher = *content.servicePublishers.find("p");
    EXPECT_EQ(describe(publisher.endpointsToConnectTo), R"(["a", "b"])");
    EXPECT_EQ(describe(publisher.endpointsToBindTo), R"(["c", "d"])");
    EXPECT_EQ(publisher.importFilter, "import");
    EXPECT_EQ(publisher.exportFilter, "export");
}

TEST_F(SPFConfigurationBuilderContent, AddServicePublisherStoresEndpointsAsStdStrings) {
    builder.addServicePublisher("p", "name", {"endpoint"}, {}, {}, {});
    auto const& endpoint = content.servicePublishers.find("p")->endpointsToConnectTo.front();
    EXPECT_EQ(any_cast<std::string>(endpoint), "endpoint");
}

TEST_F(SPFConfigurationBuilderContent, AddServicePublisherTakesTwoEndpointsInBraces) {
    builder.addServicePublisher("p", "name", {"one", "two"}, {"three", "four"}, {}, {});
    EXPECT_EQ(content.servicePublishers.find("p")->endpointsToConnectTo.size(), 2U);
    EXPECT_EQ(content.servicePublishers.find("p")->endpointsToBindTo.size(), 2U);
}

TEST_F(SPFConfigurationBuilderContent, AddServicePublisherAnyKeepsOrderDuplicatesAndTypes) {
    auto const b = Any(std::string("b"));
    auto const a = Any(std::string("a"));
    builder.addServicePublisherAny("p", "name", {b, a, b}, {Any(7), a}, "import", "export");
    ASSERT_THAT(publishersOf(content), ElementsAre("p name"));
    auto const& publisher = *content.servicePublishers.find("p");
    EXPECT_EQ(describe(publisher.endpointsToConnectTo), R"(["b", "a", "b"])");
    EXPECT_EQ(describe(publisher.endpointsToBindTo), R"([7, "a"])");
    EXPECT_EQ(publisher.importFilter, "import");
    EXPECT_EQ(publisher.exportFilter, "export");
}

TEST_F(SPFConfigurationBuilderContent, RemoveServicePublisherErasesItAndTheMappingsToIt) {
    builder.addServicePublisher(publisherNamed("p")).addServicePublisher(publisherNamed("q"));
    builder.addServiceMapping("i1", "p").addServiceMapping("i2", "p").addServiceMapping("i1", "q");
    builder.removeServicePublisher("p");
    EXPECT_THAT(publishersOf(content), ElementsAre("q "));
    EXPECT_THAT(mappingsOf(content), ElementsAre("(i1, q)"));
}

TEST_F(SPFConfigurationBuilderContent, RemoveServicePublisherErasesMappingsToAPublisherThatWasNeverAdded) {
    builder.addServiceMapping("i", "p").removeServicePublisher("p");
    EXPECT_THAT(mappingsOf(content), IsEmpty());
}

TEST_F(SPFConfigurationBuilderContent, RemoveServicePublisherLeavesInterfacesMappedToAllPublishers) {
    builder.addServicePublisher(publisherNamed("p"))
        .addServiceInterfaceToAllServicePublishers(interfaceNamed("i"))
        .removeServicePublisher("p");
    EXPECT_THAT(interfacesOf(content), ElementsAre("i  *"));
}

TEST_F(SPFConfigurationBuilderContent, AddServiceMappingTwiceAndRemoveOnceLeavesNone) {
    builder.addServiceMapping("i", "p").addServiceMapping("i", "p");
    EXPECT_THAT(mappingsOf(content), ElementsAre("(i, p)"));
    builder.removeServiceMapping("i", "p");
    EXPECT_THAT(mappingsOf(content), IsEmpty());
}

TEST_F(SPFConfigurationBuilderContent, RemoveServiceMappingErasesExactlyThatPair) {
    builder.addServiceMapping("i", "p").addServiceMapping("i", "q").addServiceMapping("j", "p");
    builder.removeServiceMapping("i", "p").removeServiceMapping("j", "q");
    EXPECT_THAT(mappingsOf(content), ElementsAre("(i, q)", "(j, p)"));
}

TEST_F(SPFConfigurationBuilderContent, RemoveServiceMappingLeavesTheFlag) {
    builder.addServiceInterfaceToAllServicePublishers(interfaceNamed("i")).removeServiceMapping("i", "p");
    EXPECT_THAT(interfacesOf(content), ElementsAre("i  *"));
}

TEST_F(SPFConfigurationBuilderContent, UndoMappingToAllClearsTheFlagAndKeepsInterfaceAndMappings) {
    builder.addServiceInterfaceToAllServicePublishers({"i", "name", properties("value")})
        .addServiceMapping("i", "p")
        .undoMappingOfServiceInterfaceToAllServicePublishers("i");
    EXPECT_THAT(interfacesOf(content), ElementsAre("i name"));
    EXPECT_EQ(content.serviceInterfaces.find("i")->configuration.requestedProperties, properties("value"));
    EXPECT_THAT(mappingsOf(content), ElementsAre("(i, p)"));
}

TEST_F(SPFConfigurationBuilderContent, OperationsOnUnknownIDsChangeNothing) {
    builder.addServiceInterface(interfaceNamed("i")).addServicePublisher(publisherNamed("p"));
    builder.addServiceMapping("i", "p");
    builder.removeServiceInterface("x").removeServicePublisher("x").removeServiceMapping("x", "p");
    builder.undoMappingOfServiceInterfaceToAllServicePublishers("x");
    EXPECT_THAT(interfacesOf(content), ElementsAre("i "));
    EXPECT_THAT(publishersOf(content), ElementsAre("p "));
    EXPECT_THAT(mappingsOf(content), ElementsAre("(i, p)"));
}

TEST_F(SPFConfigurationBuilderContent, EveryOperationReturnsTheBuilderItself) {
    EXPECT_EQ(&builder.addServiceInterface(interfaceNamed("i")), &builder);
    EXPECT_EQ(&builder.addServiceInterface("i", "", {}), &builder);
    EXPECT_EQ(&builder.addServiceInterfaceToServicePublisher("p", interfaceNamed("i")), &builder);
    EXPECT_EQ(&builder.addServiceInterfaceToServicePublisher("p", "i", "", {}), &builder);
    EXPECT_EQ(&builder.addServiceInterfaceToAllServicePublishers(interfaceNamed("i")), &builder);
    EXPECT_EQ(&builder.addServiceInterfaceToAllServicePublishers("i", "", {}), &builder);
    EXPECT_EQ(&builder.removeServiceInterface("i"), &builder);
    EXPECT_EQ(&builder.addServicePublisher(publisherNamed("p")), &builder);
    EXPECT_EQ(&builder.addServicePublisher("p", "", {}, {}, "", ""), &builder);
    EXPECT_EQ(&builder.addServicePublisherAny("p", "", {}, {}, "", ""), &builder);
    EXPECT_EQ(&builder.removeServicePublisher("p"), &builder);
    EXPECT_EQ(&builder.addServiceMapping("i", "p"), &builder);
    EXPECT_EQ(&builder.removeServiceMapping("i", "p"), &builder);
    EXPECT_EQ(&builder.undoMappingOfServiceInterfaceToAllServicePublishers("i"), &builder);
}

TEST(SPFConfigurationBuilderType, IsMovableAndNotCopyable) {
    EXPECT_TRUE(std::is_move_constructible_v<SPFConfigurationBuilder>);
    EXPECT_TRUE(std::is_move_assignable_v<SPFConfigurationBuilder>);
    EXPECT_FALSE(std::is_copy_constructible_v<SPFConfigurationBuilder>);
    EXPECT_FALSE(std::is_copy_assignable_v<SPFConfigurationBuilder>);
}

// Builders and the configurations that they publish, on a recording ConfigurationAdmin.
class SPFConfigurationBuilderTest : public HostTest {
protected:
    static constexpr char const* getConfiguration = "GetFactoryConfiguration qo.spf.framework id";
    static constexpr char const* update = "Update qo.spf.framework~id";
    static constexpr char const* remove = "Remove qo.spf.framework~id";

    SPFConfigurationBuilderTest()
        : admin(provideConfigurationAdmin()) {}

    // A builder that holds a published configuration of that ID with count 3, and its content.
    std::pair<SPFConfigurationBuilder, SPFConfigurationBuilderImpl*> modifiedBuilder() {
        auto made = std::make_unique<SPFConfigurationBuilderImpl>("id");
        made->modificationCount = 3;
        made->holdsPublishedConfiguration = true;
        auto* const content = made.get();
        return {SPFConfigurationBuilder(std::move(made)), content};
    }

    std::string published() const { return describe(admin->updates().back().properties); }

    static std::string messageOf(SPFConfigurationBuilder& builder) {
        try {
            builder.build();
        } catch (std::runtime_error const& error) {
            return error.what();
        }
        return "nothing was thrown";
    }

    std::shared_ptr<RecordingConfigurationAdmin> admin;
};

using SPFConfigurationBuilderBuild = SPFConfigurationBuilderTest;
using SPFConfigurationBuilderMove = SPFConfigurationBuilderTest;

TEST_F(SPFConfigurationBuilderBuild, NamesTheUnknownInterfaceOfAMapping) {
    SPFConfigurationBuilder builder("id");
    builder.addServiceMapping("i", "p").addServicePublisher(publisherNamed("p"));
    EXPECT_EQ(messageOf(builder), "ServiceMapping references an unknown ServiceInterface Configuration i");
}

TEST_F(SPFConfigurationBuilderBuild, NamesTheUnknownPublisherOfAMapping) {
    SPFConfigurationBuilder builder("id");
    builder.addServiceMapping("i", "p").addServiceInterface(interfaceNamed("i"));
    EXPECT_EQ(messageOf(builder), "ServiceMapping references an unknown ServicePublisher Configuration p");
}

TEST_F(SPFConfigurationBuilderBuild, NamesTheInterfaceFirstWhenBothAreUnknown) {
    SPFConfigurationBuilder builder("id");
    builder.addServiceMapping("i", "p");
    EXPECT_EQ(messageOf(builder), "ServiceMapping references an unknown ServiceInterface Configuration i");
    builder.addServiceInterface(interfaceNamed("i"));
    EXPECT_EQ(messageOf(builder), "ServiceMapping references an unknown ServicePublisher Configuration p");
    builder.addServicePublisher(publisherNamed("p"));
    EXPECT_EQ(messageOf(builder), "nothing was thrown");
}

TEST_F(SPFConfigurationBuilderBuild, NamesTheFirstBrokenMappingInAscendingOrder) {
    SPFConfigurationBuilder builder("id");
    builder.addServiceMapping("b", "y").addServiceMapping("a", "x");
    EXPECT_EQ(messageOf(builder), "ServiceMapping references an unknown ServiceInterface Configuration a");
    builder.addServiceInterface(interfaceNamed("a")).addServiceMapping("a", "w");
    EXPECT_EQ(messageOf(builder), "ServiceMapping references an unknown ServicePublisher Configuration w");
}

TEST_F(SPFConfigurationBuilderBuild, NamesABrokenMappingAfterThoseThatAreWhole) {
    SPFConfigurationBuilder builder("id");
    builder.addServiceInterfaceToServicePublisher("p", interfaceNamed("a"))
        .addServicePublisher(publisherNamed("p"))
        .addServicePublisher(publisherNamed("q"))
        .addServiceMapping("a", "q")
        .addServiceMapping("b", "p");
    EXPECT_EQ(messageOf(builder), "ServiceMapping references an unknown ServiceInterface Configuration b");
    builder.addServiceInterface(interfaceNamed("b")).addServiceMapping("b", "r");
    EXPECT_EQ(messageOf(builder), "ServiceMapping references an unknown ServicePublisher Configuration r");
}

TEST_F(SPFConfigurationBuilderBuild, EndsTheMessageInTheIDEvenWhenThatIsEmpty) {
    SPFConfigurationBuilder builder("id");
    builder.addServiceMapping("", "");
    EXPECT_EQ(messageOf(builder), "ServiceMapping references an unknown ServiceInterface Configuration ");
}

TEST_F(SPFConfigurationBuilderBuild, AsksNobodyAndChangesNothingWhenAMappingIsBroken) {
    auto [builder, content] = modifiedBuilder();
    builder.addServiceInterfaceToAllServicePublishers(interfaceNamed("j")).addServiceMapping("i", "p");
    builder.addServicePublisher(publisherNamed("p"));
    EXPECT_THROW(builder.build(), std::runtime_error);
    EXPECT_THAT(callLog().calls(), IsEmpty());
    EXPECT_EQ(content->name, "id");
    EXPECT_EQ(content->modificationCount, 3);
    EXPECT_TRUE(content->holdsPublishedConfiguration);
    EXPECT_THAT(interfacesOf(*content), ElementsAre("j  *"));
    EXPECT_THAT(publishersOf(*content), ElementsAre("p "));
    EXPECT_THAT(mappingsOf(*content), ElementsAre("(i, p)"));
}

TEST_F(SPFConfigurationBuilderBuild, PublishesWhatWasCorrectedAfterABrokenMapping) {
    SPFConfigurationBuilder builder("id");
    builder.addServiceMapping("i", "p").addServicePublisher(publisherNamed("p"));
    EXPECT_THROW(builder.build(), std::runtime_error);
    auto const configuration = builder.addServiceInterface(interfaceNamed("i")).build();
    EXPECT_EQ(configuration.getConfigurationID(), "id");
    EXPECT_EQ(configuration.getServiceInterfaceConfigurations().size(), 1U);
}

TEST_F(SPFConfigurationBuilderBuild, ChecksNothingButMappings) {
    SPFConfigurationBuilder builder("id");
    builder.addServiceInterface(interfaceNamed("unmapped"))
        .addServiceInterfaceToAllServicePublishers(interfaceNamed("mapped to no publisher"));
    EXPECT_EQ(messageOf(builder), "nothing was thrown");
    builder.addServicePublisher(publisherNamed("without interfaces"));
    EXPECT_EQ(messageOf(builder), "nothing was thrown");
}

TEST_F(SPFConfigurationBuilderBuild, PublishesAnEmptyBuilderWithCountOne) {
    auto const configuration = SPFConfigurationBuilder("id").build();
    EXPECT_FALSE(configuration.empty());
    EXPECT_EQ(configuration.getConfigurationID(), "id");
    EXPECT_EQ(published(), "{modificationCount: 1, serviceConfigurations: [], "
                           "servicePublisherConfigurations: [], servicePublisherMappings: []}");
}

TEST_F(SPFConfigurationBuilderBuild, PublishesTheCountOfTheBuilderPlusOne) {
    auto [builder, content] = modifiedBuilder();
    auto const configuration = builder.build();
    EXPECT_EQ(any_cast<int>(admin->updates().back().properties.at("modificationCount")), 4);
}

TEST_F(SPFConfigurationBuilderBuild, HandsTheContentToTheConfiguration) {
    SPFConfigurationBuilder builder("id");
    auto const configuration = builder.addServicePublisher(publisherNamed("p", "kind"))
                                   .addServiceInterfaceToServicePublisher("p", interfaceNamed("i", "name"))
                                   .build();
    ASSERT_EQ(configuration.getServicePublisherConfigurations().size(), 1U);
    EXPECT_EQ(configuration.getServicePublisherConfigurations().front().name, "kind");
    ASSERT_EQ(configuration.getServiceInterfaceConfigurationsForServicePublisher("p").size(), 1U);
    EXPECT_EQ(configuration.getServiceInterfaceConfigurationsForServicePublisher("p").front().name, "name");
}

TEST_F(SPFConfigurationBuilderBuild, LeavesTheBuilderEmptyExceptForTheCount) {
    auto [builder, content] = modifiedBuilder();
    builder.addServicePublisher(publisherNamed("p"))
        .addServiceInterfaceToServicePublisher("p", interfaceNamed("i"));
    auto const configuration = builder.build();
    EXPECT_EQ(content->name, "");
    EXPECT_EQ(content->modificationCount, 3);
    EXPECT_FALSE(content->holdsPublishedConfiguration);
    EXPECT_TRUE(content->serviceInterfaces.empty());
    EXPECT_TRUE(content->servicePublishers.empty());
    EXPECT_TRUE(content->serviceMappings.empty());
}

TEST_F(SPFConfigurationBuilderBuild, TwiceConstructsTheSecondFromAnEmptyNameAndNoContent) {
    SPFConfigurationBuilder builder("id");
    auto const first = builder.addServicePublisher(publisherNamed("p")).build();
    auto const second = builder.build();
    EXPECT_EQ(second.getConfigurationID(), "generated");
    EXPECT_TRUE(second.getServicePublisherConfigurations().empty());
    EXPECT_THAT(admin->calls(),
                ElementsAre(getConfiguration, update, "CreateFactoryConfiguration qo.spf.framework",
                            "GetPid qo.spf.framework~generated", "Update qo.spf.framework~generated"));
}

TEST_F(SPFConfigurationBuilderBuild, PassesWhatStartUpThrowsAndLosesTheContentButNotTheFlag) {
    auto [builder, content] = modifiedBuilder();
    builder.addServiceInterface(interfaceNamed("i")).addServicePublisher(publisherNamed("p"));
    builder.addServiceMapping("i", "p");
    callLog().when("installAndStart bin/darwinarm64/spf/framework", throwing("no such directory"));
    EXPECT_EQ(messageOf(builder), "no such directory");
    EXPECT_EQ(content->name, "");
    EXPECT_EQ(content->modificationCount, 3);
    EXPECT_TRUE(content->holdsPublishedConfiguration);
    EXPECT_TRUE(content->serviceInterfaces.empty());
    EXPECT_TRUE(content->servicePublishers.empty());
    EXPECT_TRUE(content->serviceMappings.empty());
    EXPECT_THAT(admin->calls(), IsEmpty());
}

TEST_F(SPFConfigurationBuilderBuild, PassesWhatPublishingThrowsUnchanged) {
    auto [builder, content] = modifiedBuilder();
    callLog().when(update, [] { throw 42; });
    EXPECT_THROW(builder.build(), int);
    EXPECT_TRUE(content->holdsPublishedConfiguration);
    EXPECT_EQ(content->name, "");
}

TEST_F(SPFConfigurationBuilderBuild, ThatFailedToPublishIsNotWithdrawnByTheBuilder) {
    {
        auto [builder, content] = modifiedBuilder();
        callLog().when(update, throwing("cannot update"));
        EXPECT_EQ(messageOf(builder), "cannot update");
    }
    EXPECT_EQ(callLog().count(remove), 0U);
}

TEST_F(SPFConfigurationBuilderBuild, MayBeCalledAfterAFailureWithNewContent) {
    SPFConfigurationBuilder builder("id");
    callLog().whenNth(1, update, throwing("cannot update"));
    EXPECT_EQ(messageOf(builder), "cannot update");
    EXPECT_EQ(builder.build().getConfigurationID(), "generated");
}

TEST_F(SPFConfigurationBuilderBuild, LogsNothing) {
    auto const configuration = SPFConfigurationBuilder("id").build();
    SPFConfigurationBuilder broken("id");
    EXPECT_THROW(broken.addServiceMapping("i", "p").build(), std::runtime_error);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(SPFConfigurationBuilderMove, ConstructionTakesTheContentAndLeavesAnEmptyBuilder) {
    auto made = modifiedBuilder();
    auto* const content = made.second;
    {
        SPFConfigurationBuilder const taken(std::move(made.first));
        EXPECT_EQ(content->name, "id");
        EXPECT_THAT(admin->calls(), IsEmpty());
    }
    EXPECT_THAT(admin->calls(), ElementsAre(getConfiguration, remove));
    EXPECT_THAT(made.first.build().getConfigurationID(), "generated");
    EXPECT_EQ(any_cast<int>(admin->updates().back().properties.at("modificationCount")), 1);
}

TEST_F(SPFConfigurationBuilderMove, ASourceStaysUsable) {
    SPFConfigurationBuilder source("id");
    SPFConfigurationBuilder const taken(std::move(source));
    source.addServiceInterface(interfaceNamed("i")).addServiceMapping("i", "p");
    EXPECT_EQ(messageOf(source), "ServiceMapping references an unknown ServicePublisher Configuration p");
}

TEST_F(SPFConfigurationBuilderMove, AssignmentWithdrawsWhatTheTargetHeldAndTakesTheSource) {
    auto [target, content] = modifiedBuilder();
    SPFConfigurationBuilder source("source");
    EXPECT_EQ(&(target = std::move(source)), &target);
    EXPECT_THAT(admin->calls(), ElementsAre(getConfiguration, remove));
    EXPECT_EQ(target.build().getConfigurationID(), "source");
    EXPECT_EQ(source.build().getConfigurationID(), "generated");
}

TEST_F(SPFConfigurationBuilderMove, AssignmentCarriesTheResponsibilityForAPublishedConfiguration) {
    {
        SPFConfigurationBuilder target("target");
        auto made = modifiedBuilder();
        target = std::move(made.first);
        made.first.addServiceInterface(interfaceNamed("i"));
        EXPECT_THAT(admin->calls(), IsEmpty());
    }
    EXPECT_THAT(admin->calls(), ElementsAre(getConfiguration, remove));
}

TEST_F(SPFConfigurationBuilderMove, AssignmentToItselfDoesNothing) {
    auto [builder, content] = modifiedBuilder();
    auto& self = builder;
    EXPECT_EQ(&(builder = std::move(self)), &builder);
    EXPECT_THAT(admin->calls(), IsEmpty());
    EXPECT_EQ(content->name, "id");
    EXPECT_TRUE(content->holdsPublishedConfiguration);
    EXPECT_EQ(builder.build().getConfigurationID(), "id");
}

TEST_F(SPFConfigurationBuilderMove, DestructionDropsWhatWithdrawingThrows) {
    callLog().when(remove, throwing("cannot remove"));
    EXPECT_NO_THROW(modifiedBuilder());
    EXPECT_EQ(callLog().count(remove), 1U);
}

TEST_F(SPFConfigurationBuilderMove, ANullContentGivesANewBuilder) {
    SPFConfigurationBuilder builder((std::unique_ptr<SPFConfigurationBuilderImpl>()));
    EXPECT_EQ(builder.build().getConfigurationID(), "generated");
}

} // namespace
} // namespace agent::spf::frameworksetup::test
