// The client's builder: what each content operation changes.
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"

#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model/builderContent.hpp"
#include "support/AllocationFailure.hpp"
#include "support/describe.hpp"

namespace agent::spf::frameworksetup::test {
namespace {

using cppmicroservices::Any;
using cppmicroservices::any_cast;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

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

TEST_F(SPFConfigurationBuilderContent, AddServiceInterfaceToServicePublisherMapsBeforeItAddsTheInterface) {
    auto mappedWithoutInterface = false;
    for (std::size_t n = 1; content.serviceInterfaces.empty(); ++n) {
        builder.removeServiceMapping("i", "p");
        try {
            AllocationFailure const failure(n);
            builder.addServiceInterfaceToServicePublisher("p", interfaceNamed("i"));
        } catch (std::bad_alloc const&) {
            EXPECT_THAT(interfacesOf(content), IsEmpty());
            mappedWithoutInterface = mappedWithoutInterface || !content.serviceMappings.empty();
        }
    }
    EXPECT_TRUE(mappedWithoutInterface);
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

} // namespace
} // namespace agent::spf::frameworksetup::test
