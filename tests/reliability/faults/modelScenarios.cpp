// The client's side: putting a configuration together, moving builders, converting property trees.
#include <functional>
#include <memory>
#include <optional>
#include <set>

#include <boost/property_tree/ptree.hpp>

#include "agent/spf/frameworksetup/frameworksetup.hpp"
#include "faults/Scenario.hpp"
#include "model/SPFConfigurationBuilderImpl.hpp"
#include "model/propertyTreeToAnyMap.hpp"
#include "support/describe.hpp"

namespace agent::spf::frameworksetup::test {

namespace {

using boost::property_tree::ptree;
using Builder = SPFConfigurationBuilder;

std::string const longText(64, 'x'); // no string holds it in place

ptree properties(std::string const& value) {
    ptree tree;
    tree.put("a name that is long enough to be allocated", value);
    return tree;
}

// All that a builder holds, in a fixed order.
std::string describeContent(SPFConfigurationBuilderImpl const& content) {
    std::set<std::string> parts;
    for (auto const& entry : content.serviceInterfaces) {
        parts.insert("interface " + entry.configuration.uniqueID + " " + entry.configuration.name +
                     describe(propertyTreeToAnyMap(entry.configuration.requestedProperties)) +
                     (entry.mappedToAllServicePublishers ? " to all" : ""));
    }
    for (auto const& publisher : content.servicePublishers) {
        parts.insert("publisher " + publisher.uniqueID + " " + publisher.name +
                     describe(cppmicroservices::Any(publisher.endpointsToConnectTo)) +
                     describe(cppmicroservices::Any(publisher.endpointsToBindTo)) + publisher.importFilter +
                     publisher.exportFilter);
    }
    for (auto const& mapping : content.serviceMappings) {
        parts.insert("mapping " + mapping.serviceID + " " + mapping.publisherID);
    }
    auto text = content.name + " " + std::to_string(content.modificationCount);
    for (auto const& part : parts) {
        text += "\n" + part;
    }
    return text;
}

// An operation, and what else than nothing may be left of it when it fails.
struct Operation {
    std::function<void(Builder&)> run;
    std::function<void(Builder&)> partly = [](Builder&) {};
};

std::vector<Operation> contentOperations() {
    std::vector<Operation> operations;
    auto const add = [&](auto... operation) { operations.push_back({operation...}); };
    add([](Builder& b) { b.addServiceInterface("i", longText, properties(longText)); });
    add([](Builder& b) { b.addServiceInterface("j", longText, {}); });
    add([](Builder& b) { b.addServicePublisher("p", longText, {longText, "b"}, {"a"}, longText, longText); });
    // Replacing: the entry is erased when its properties cannot be replaced.
    add([](Builder& b) { b.addServiceInterface("i", "new name", properties("new value")); },
        [](Builder& b) { b.removeServiceInterface("i"); });
    add([](Builder& b) { b.addServicePublisher("p", "new name", {}, {"c", longText}, {}, {}); });
    // The mapping comes first, and stands for itself.
    add([](Builder& b) { b.addServiceInterfaceToServicePublisher("p", longText, longText, properties("1")); },
        [](Builder& b) { b.addServiceMapping(longText, "p"); });
    add([](Builder& b) { b.addServiceInterfaceToAllServicePublishers("k", longText, properties("2")); });
    add([](Builder& b) { b.addServiceMapping("i", longText); });
    add([](Builder& b) { b.addServiceMapping("i", longText); });
    add([](Builder& b) { b.undoMappingOfServiceInterfaceToAllServicePublishers("k"); });
    add([](Builder& b) { b.removeServiceMapping("i", longText); });
    add([](Builder& b) { b.removeServicePublisher("p"); });
    add([](Builder& b) { b.removeServiceInterface("j"); });
    for (auto const* id : {"1", "2", "3", "4", "5", "6", "7", "8"}) { // until the hashed indices grow
        add([id](Builder& b) { b.addServiceInterface(id + longText, longText, {}); });
    }
    return operations;
}

// The content after so many operations.
std::string contentAfter(std::size_t count, bool andPartOfTheNext) {
    auto implementation = std::make_unique<SPFConfigurationBuilderImpl>("id");
    auto const& content = *implementation;
    Builder builder(std::move(implementation));
    auto const operations = contentOperations();
    for (std::size_t done = 0; done < count; ++done) {
        operations[done].run(builder);
    }
    if (andPartOfTheNext) {
        operations[count].partly(builder);
    }
    return describeContent(content);
}

// Every content operation: one that fails leaves the builder as it was, but for the two documented rules.
class ContentOperations : public Scenario {
public:
    void act() override {
        for (; done < operations.size(); ++done) {
            operations[done].run(builder);
        }
    }

    void check(std::exception_ptr const& failure) override {
        EXPECT_EQ(done == operations.size(), !failure);
        auto const left = describeContent(*implementation);
        if (left != contentAfter(done, false)) {
            ASSERT_TRUE(failure);
            EXPECT_EQ(left, contentAfter(done, true));
        }
        EXPECT_EQ(implementation->serviceInterfaces.get<1>().size(),
                  implementation->serviceInterfaces.size());
        EXPECT_EQ(implementation->serviceMappings.get<1>().size(), implementation->serviceMappings.size());
        builder.addServiceInterface("later", "later", {});
        EXPECT_EQ(implementation->serviceInterfaces.count("later"), 1U);
    }

private:
    std::vector<Operation> const operations = contentOperations();
    std::size_t done = 0;
    std::unique_ptr<SPFConfigurationBuilderImpl> content =
        std::make_unique<SPFConfigurationBuilderImpl>("id");
    SPFConfigurationBuilderImpl* const implementation = content.get();
    Builder builder{std::move(content)};
};

// A builder that cannot be moved is as it was, and so is the target.
class MovingABuilder : public Scenario {
public:
    void act() override { target.emplace(std::move(source)); }

    void check(std::exception_ptr const& failure) override {
        EXPECT_EQ(target.has_value(), !failure);
        auto& holder = failure ? source : *target;
        auto const handle = holder.build();
        EXPECT_EQ(handle.getConfigurationID(), "id");
        EXPECT_EQ(handle.getServicePublisherConfigurations().size(), 2U);
        if (!failure) {
            EXPECT_EQ(source.build().getServicePublisherConfigurations().size(), 0U);
        }
    }

private:
    Builder source = content("id");
    std::optional<Builder> target;
};

// Assigning to a builder never fails; what the target held is withdrawn if nothing else is.
class AssigningABuilder : public Scenario {
public:
    void act() override { target = std::move(source); }

    void check(std::exception_ptr const& failure) override {
        EXPECT_FALSE(failure);
        auto const handle = target.build();
        EXPECT_EQ(handle.getConfigurationID(), "id");
        EXPECT_EQ(handle.getServicePublisherConfigurations().size(), 2U);
        EXPECT_EQ(source.build().getServicePublisherConfigurations().size(), 0U);
    }

private:
    Builder source = content("id");
    SPFConfiguration replaced = published("replaced");
    Builder target = replaced.modify();
};

class PropertyTrees : public Scenario {
public:
    void act() override {
        addRequiredRuntimeServiceProperties(tree, "nested." + longText, longText);
        converted = describe(propertyTreeToAnyMap(tree));
    }

    void check(std::exception_ptr const& failure) override {
        EXPECT_EQ(converted.empty(), static_cast<bool>(failure));
        EXPECT_EQ(tree.get<std::string>(ptree::path_type("a/b/c", '/')), longText) << "what was there stays";
        tree.erase("spf::requiredServiceProperty::nested");
        addRequiredRuntimeServiceProperties(tree, "nested." + longText, longText);
        auto const whole = describe(propertyTreeToAnyMap(tree));
        EXPECT_EQ(whole, "{a: {b: {c: \"" + longText + "\"}}, spf::requiredServiceProperty::nested: {" +
                             longText + ": \"" + longText + "\"}, " + longText + "\\/: \"\"}");
        EXPECT_TRUE(failure || converted == whole);
    }

private:
    static ptree made() {
        ptree made;
        made.put(ptree::path_type("a/b/c", '/'), longText);
        made.push_back({longText + "/", ptree()});
        return made;
    }

    ptree tree = made();
    std::string converted;
};

} // namespace

std::vector<NamedScenario> modelScenarios() {
    return {quietScenario<ContentOperations>("ContentOperations"),
            quietScenario<MovingABuilder>("MovingABuilder"), scenario<AssigningABuilder>("AssigningABuilder"),
            quietScenario<PropertyTrees>("PropertyTrees")};
}

} // namespace agent::spf::frameworksetup::test
