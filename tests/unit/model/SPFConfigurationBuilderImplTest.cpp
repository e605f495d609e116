// What happens to a builder's content when it is destroyed, and what a failed operation leaves.
#include "model/SPFConfigurationBuilderImpl.hpp"

#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/AllocationFailure.hpp"
#include "support/HostTest.hpp"

namespace agent::spf::frameworksetup::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using FlagRule = SPFConfigurationBuilderImpl::FlagRule;

// Longer than what a string holds without allocating.
std::string const longText(64, 'x');

boost::property_tree::ptree properties(std::string const& value) {
    boost::property_tree::ptree tree;
    tree.put("property", value);
    return tree;
}

void expectNothingBesideTheName(SPFConfigurationBuilderImpl const& content) {
    EXPECT_EQ(content.modificationCount, 0);
    EXPECT_FALSE(content.holdsPublishedConfiguration);
    EXPECT_TRUE(content.serviceInterfaces.empty());
    EXPECT_TRUE(content.servicePublishers.empty());
    EXPECT_TRUE(content.serviceMappings.empty());
}

TEST(SPFConfigurationBuilderImpl, IsNewWithNameAndNothingElse) {
    SPFConfigurationBuilderImpl const content("id");
    EXPECT_EQ(content.name, "id");
    expectNothingBesideTheName(content);
}

TEST(SPFConfigurationBuilderImpl, IsAsNewWithoutANameOnceItIsCleared) {
    SPFConfigurationBuilderImpl content("id");
    content.modificationCount = 3;
    content.holdsPublishedConfiguration = true;
    content.putInterface({"i", {}, {}}, FlagRule::KeepOrClear);
    content.putPublisher({"p", {}, {}, {}, {}, {}});
    content.putMapping("i", "p");
    content.clear();
    EXPECT_EQ(content.name, "");
    expectNothingBesideTheName(content);
}

class SPFConfigurationBuilderImplDestruction : public HostTest {
protected:
    SPFConfigurationBuilderImplDestruction()
        : admin(provideConfigurationAdmin())
        , content(std::make_unique<SPFConfigurationBuilderImpl>("id")) {}

    std::shared_ptr<RecordingConfigurationAdmin> admin;
    std::unique_ptr<SPFConfigurationBuilderImpl> content;
};

TEST_F(SPFConfigurationBuilderImplDestruction, AsksNobodyWhenNothingIsPublished) {
    content.reset();
    EXPECT_THAT(callLog().calls(), IsEmpty());
}

TEST_F(SPFConfigurationBuilderImplDestruction, WithdrawsAPublishedConfiguration) {
    content->holdsPublishedConfiguration = true;
    content.reset();
    EXPECT_THAT(admin->calls(),
                ElementsAre("GetFactoryConfiguration qo.spf.framework id", "Remove qo.spf.framework~id"));
}

TEST_F(SPFConfigurationBuilderImplDestruction, WithdrawsNothingWithAnEmptyName) {
    content->name.clear();
    content->holdsPublishedConfiguration = true;
    content.reset();
    EXPECT_THAT(callLog().calls(), IsEmpty());
}

TEST_F(SPFConfigurationBuilderImplDestruction, DropsWhatWithdrawingThrows) {
    content->holdsPublishedConfiguration = true;
    callLog().when("Remove qo.spf.framework~id", throwing("cannot remove"));
    EXPECT_NO_THROW(content.reset());
    EXPECT_EQ(callLog().count("Remove qo.spf.framework~id"), 1U);
    EXPECT_THAT(log.records(), ElementsAre(libraryRecord(4, "About to remove spf configuration for id")));
}

TEST_F(SPFConfigurationBuilderImplDestruction, DropsWhatLookingForConfigurationAdminThrows) {
    content->holdsPublishedConfiguration = true;
    callLog().when("getFramework", [] { throw 42; });
    EXPECT_NO_THROW(content.reset());
    EXPECT_THAT(admin->calls(), IsEmpty());
}

// Prepares a content and runs the operation on it, once for each of the operation's allocations, which fails;
// checks what is left. The record is copied beforehand.
template <typename Record, typename Prepare, typename Operation, typename Check>
void failEveryAllocation(Record const& record, Prepare const& prepare, Operation const& operation,
                         Check const& check) {
    for (std::size_t n = 1;; ++n) {
        SCOPED_TRACE("allocation " + std::to_string(n));
        SPFConfigurationBuilderImpl content("id");
        prepare(content);
        auto prepared = record;
        try {
            AllocationFailure const failure(n);
            operation(content, std::move(prepared));
            ASSERT_GT(n, 1U) << "the operation allocates nothing";
            return;
        } catch (std::bad_alloc const&) {
            check(content);
        }
    }
}

void prepareNothing(SPFConfigurationBuilderImpl&) {}

TEST(SPFConfigurationBuilderImplAllocationFailure, LeavesNoInterfaceThatIsNew) {
    failEveryAllocation(
        SPFServiceInterfaceConfiguration{longText, longText, properties(longText)}, prepareNothing,
        [](auto& content, auto&& record) { content.putInterface(std::move(record), FlagRule::Set); },
        [](auto const& content) {
            EXPECT_TRUE(content.serviceInterfaces.empty());
            EXPECT_TRUE(content.serviceInterfaces.template get<1>().empty());
        });
}

TEST(SPFConfigurationBuilderImplAllocationFailure, LeavesNoPublisherThatIsNew) {
    failEveryAllocation(
        SPFServicePublisherConfiguration{longText, longText, {}, {}, longText, longText}, prepareNothing,
        [](auto& content, auto&& record) { content.putPublisher(std::move(record)); },
        [](auto const& content) { EXPECT_TRUE(content.servicePublishers.empty()); });
}

TEST(SPFConfigurationBuilderImplAllocationFailure, LeavesNoMapping) {
    failEveryAllocation(
        ServiceMapping{longText, longText}, prepareNothing,
        [](auto& content, auto&& record) { content.putMapping(record.serviceID, record.publisherID); },
        [](auto const& content) {
            EXPECT_TRUE(content.serviceMappings.empty());
            EXPECT_TRUE(content.serviceMappings.template get<1>().empty());
        });
}

TEST(SPFConfigurationBuilderImplAllocationFailure, ErasesAnInterfaceWhosePropertiesCannotBeReplaced) {
    auto erased = 0;
    failEveryAllocation(
        SPFServiceInterfaceConfiguration{"i", "new", properties(longText)},
        [](auto& content) {
            content.putInterface({"i", "old", properties("old")}, FlagRule::Set);
            content.putInterface({"other", "other", {}}, FlagRule::KeepOrClear);
        },
        [](auto& content, auto&& record) { content.putInterface(std::move(record), FlagRule::KeepOrClear); },
        [&](auto const& content) {
            auto const found = content.serviceInterfaces.find("i");
            if (found == content.serviceInterfaces.end()) {
                ++erased;
            } else { // failed before it was touched
                EXPECT_EQ(found->configuration.name, "old");
                EXPECT_EQ(found->configuration.requestedProperties, properties("old"));
            }
            EXPECT_EQ(content.serviceInterfaces.count("other"), 1U);
            EXPECT_EQ(content.serviceInterfaces.template get<1>().size(), content.serviceInterfaces.size());
        });
    EXPECT_GT(erased, 0);
}

} // namespace
} // namespace agent::spf::frameworksetup::test
