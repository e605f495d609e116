// The client's builder: how mappings are checked, what build() publishes and leaves, and how builders move.
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"

#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model/builderContent.hpp"
#include "support/AllocationFailure.hpp"
#include "support/HostTest.hpp"
#include "support/describe.hpp"

namespace agent::spf::frameworksetup::test {
namespace {

using cppmicroservices::any_cast;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

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

TEST(SPFConfigurationBuilderType, IsMovableAndNotCopyable) {
    EXPECT_TRUE(std::is_move_constructible_v<SPFConfigurationBuilder>);
    EXPECT_TRUE(std::is_move_assignable_v<SPFConfigurationBuilder>);
    EXPECT_FALSE(std::is_copy_constructible_v<SPFConfigurationBuilder>);
    EXPECT_FALSE(std::is_copy_assignable_v<SPFConfigurationBuilder>);
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

TEST_F(SPFConfigurationBuilderMove, TheSourceOfAnAssignmentIsAsNewWhateverTheTargetHeld) {
    auto target = modifiedBuilder().first;
    target.addServiceInterface(interfaceNamed("i")).addServicePublisher(publisherNamed("p"));
    target.addServiceMapping("i", "p");
    SPFConfigurationBuilder source("source");
    target = std::move(source);
    EXPECT_EQ(source.build().getConfigurationID(), "generated");
    auto const afterwards = published();
    SPFConfigurationBuilder("").build();
    EXPECT_EQ(afterwards, published());
}

TEST_F(SPFConfigurationBuilderMove, TheTargetOfAnAssignmentHasTheSourcesContentWhileItsOwnIsWithdrawn) {
    auto target = modifiedBuilder().first;
    SPFConfigurationBuilder source("source");
    std::string publishedMeanwhile;
    callLog().whenNth(1, remove, [&] { publishedMeanwhile = target.build().getConfigurationID(); });
    target = std::move(source);
    EXPECT_EQ(publishedMeanwhile, "source");
}

TEST_F(SPFConfigurationBuilderMove, AssignmentToItselfDoesNothing) {
    auto [builder, content] = modifiedBuilder();
    auto& self = builder;
    SPFConfigurationBuilder* result = nullptr;
    {
        AllocationFailure const failure(1); // doing nothing needs no new content for a source
        result = &(builder = std::move(self));
        EXPECT_FALSE(failure.happened());
    }
    EXPECT_EQ(result, &builder);
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
