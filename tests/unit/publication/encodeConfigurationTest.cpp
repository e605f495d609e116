// The property map as which a configuration is published, key by key.
#include "publication/encodeConfiguration.hpp"

#include <cstddef>
#include <limits>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <boost/property_tree/ptree.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/AllocationFailure.hpp"
#include "support/describe.hpp"

namespace agent::spf::frameworksetup::test {
namespace {

using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

// A configuration without content to which a test adds what it is about.
struct Model {
    Model& unmapped(std::string uniqueID) { return add({{std::move(uniqueID), {}, {}}, false}); }
    Model& mappedToAll(std::string uniqueID) { return add({{std::move(uniqueID), {}, {}}, true}); }
    Model& add(ServiceInterfaceEntry entry) {
        interfaces.insert(std::move(entry));
        return *this;
    }
    Model& publisher(std::string uniqueID, std::string name = {}) {
        return add({std::move(uniqueID), std::move(name), {}, {}, {}, {}});
    }
    Model& add(SPFServicePublisherConfiguration publisher) {
        publishers.insert(std::move(publisher));
        return *this;
    }
    Model& mapping(std::string serviceID, std::string publisherID) {
        mappings.insert({std::move(serviceID), std::move(publisherID)});
        return *this;
    }

    AnyMap encode(std::int32_t modificationCount = 1) const {
        return encodeConfiguration(interfaces, publishers, mappings, modificationCount);
    }
    std::vector<Any> list(std::string const& key) const {
        return any_cast<std::vector<Any>>(encode().at(key));
    }
    // The mapping entries as "service>publisher".
    std::vector<std::string> encodedMappings() const {
        std::vector<std::string> result;
        for (auto const& element : list("servicePublisherMappings")) {
            auto const entry = any_cast<AnyMap>(element);
            result.push_back(any_cast<std::string>(entry.at("serviceID")) + ">" +
                             any_cast<std::string>(entry.at("publisherID")));
        }
        return result;
    }
    std::vector<std::string> encodedIDs(std::string const& key) const {
        std::vector<std::string> result;
        for (auto const& element : list(key)) {
            result.push_back(any_cast<std::string>(any_cast<AnyMap>(element).at("uniqueID")));
        }
        return result;
    }
    std::string factoryPID() const {
        return any_cast<std::string>(
            any_cast<AnyMap>(list("servicePublisherConfigurations").front()).at("factoryPID"));
    }

    ServiceInterfaces interfaces;
    ServicePublishers publishers;
    ServiceMappings mappings;
};

TEST(EncodeConfiguration, GivesAllFourKeysOfAnEmptyModel) {
    EXPECT_EQ(describe(Model().encode(7)),
              "{modificationCount: 7, serviceConfigurations: [], "
              "servicePublisherConfigurations: [], servicePublisherMappings: []}");
}

TEST(EncodeConfiguration, GivesTheModificationCountAsAnInt) {
    for (auto const count : {0, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        EXPECT_EQ(any_cast<int>(Model().encode(count).at("modificationCount")), count);
    }
}

TEST(EncodeConfiguration, GivesAnInterfaceItsFourKeys) {
    boost::property_tree::ptree properties;
    properties.put("a.b", "c");
    EXPECT_EQ(describe(Model().add({{"id", "name", properties}, false}).encode().at("serviceConfigurations")),
              R"([{name: "name", requestedProperties: {a: {b: "c"}}, uniqueID: "id", version: {major: 1}}])");
}

TEST(EncodeConfiguration, GivesAnInterfaceWithoutContentEmptyValuesAndItsVersion) {
    EXPECT_EQ(describe(Model().unmapped("").encode().at("serviceConfigurations")),
              R"([{name: "", requestedProperties: {}, uniqueID: "", version: {major: 1}}])");
}

TEST(EncodeConfiguration, GivesEveryInterfaceVersionOne) {
    for (auto const& element : Model().unmapped("a").mappedToAll("b").list("serviceConfigurations")) {
        EXPECT_EQ(describe(any_cast<AnyMap>(element).at("version")), "{major: 1}");
    }
}

TEST(EncodeConfiguration, GivesAPublisherItsFourKeysAndItsConfigItsFour) {
    auto const connect = Any(std::string("connect"));
    auto const bind = Any(std::string("bind"));
    EXPECT_EQ(describe(Model()
                           .add({"id", "name", {connect}, {bind}, "import", "export"})
                           .encode()
                           .at("servicePublisherConfigurations")),
              R"([{config: {endpointsToBindTo: ["bind"], endpointsToConnectTo: ["connect"], )"
              R"(exportFilter: "export", importFilter: "import"}, )"
              R"(factoryPID: "qo.spf.rpcservicepublisher", name: "name", uniqueID: "id"}])");
}

TEST(EncodeConfiguration, GivesAPublisherWithoutContentEmptyValues) {
    EXPECT_EQ(describe(Model().publisher("").encode().at("servicePublisherConfigurations")),
              R"([{config: {endpointsToBindTo: [], endpointsToConnectTo: [], exportFilter: "", )"
              R"(importFilter: ""}, factoryPID: "qo.spf.rpcservicepublisher", name: "", uniqueID: ""}])");
}

TEST(EncodeConfiguration, CopiesEndpointsAsTheyStand) {
    auto const b = Any(std::string("b"));
    auto const a = Any(std::string("a"));
    auto const publisher = any_cast<AnyMap>(Model()
                                                .add({"p", "", {b, a, b}, {Any(1), Any(), a}, "", ""})
                                                .list("servicePublisherConfigurations")
                                                .front());
    auto const config = any_cast<AnyMap>(publisher.at("config"));
    EXPECT_EQ(describe(config.at("endpointsToConnectTo")), R"(["b", "a", "b"])");
    EXPECT_EQ(describe(config.at("endpointsToBindTo")), R"([1, <empty>, "a"])");
}

TEST(EncodeConfiguration, SelectsTheLegacyPublisherByItsExactName) {
    EXPECT_EQ(Model().publisher("p", "legacyservicepublisher").factoryPID(), "qo.spf.legacyservicepublisher");
}

TEST(EncodeConfiguration, SelectsTheRpcPublisherByEveryOtherName) {
    for (auto const* const name :
         {"rpcservicepublisher", "", "Legacyservicepublisher", "LEGACYSERVICEPUBLISHER",
          "legacyservicepublisher ", " legacyservicepublisher", "legacyservicepublishe",
          "legacyservicepublisher2"}) {
        EXPECT_EQ(Model().publisher("p", name).factoryPID(), "qo.spf.rpcservicepublisher")
            << '"' << name << '"';
    }
}

TEST(EncodeConfiguration, SelectsByTheNameAndNotByTheUniqueID) {
    EXPECT_EQ(Model().publisher("legacyservicepublisher", "x").factoryPID(), "qo.spf.rpcservicepublisher");
}

TEST(EncodeConfiguration, GivesAMappingItsTwoKeys) {
    EXPECT_EQ(describe(Model().mapping("i", "p").encode().at("servicePublisherMappings")),
              R"([{publisherID: "p", serviceID: "i"}])");
    EXPECT_EQ(describe(Model().mappedToAll("i").publisher("p").encode().at("servicePublisherMappings")),
              R"([{publisherID: "p", serviceID: "i"}])");
}

TEST(EncodeConfiguration, RefersToInterfacesAndPublishersByUniqueIDs) {
    EXPECT_THAT(Model().add({{"i", "name of i", {}}, true}).publisher("p", "name of p").encodedMappings(),
                ElementsAre("i>p"));
}

TEST(EncodeConfiguration, ListsExplicitMappingsInAscendingOrder) {
    EXPECT_THAT(Model().mapping("b", "p2").mapping("b", "p1").mapping("a", "p3").encodedMappings(),
                ElementsAre("a>p3", "b>p1", "b>p2"));
}

TEST(EncodeConfiguration, ListsImplicitMappingsBeforeExplicitOnes) {
    EXPECT_THAT(Model().mapping("a", "p").mappedToAll("z").publisher("p").encodedMappings(),
                ElementsAre("z>p", "a>p"));
}

TEST(EncodeConfiguration, MapsAnInterfaceImplicitlyToTheOtherPublishersOnly) {
    auto const encoded = Model()
                             .mappedToAll("i")
                             .publisher("p1")
                             .publisher("p2")
                             .publisher("p3")
                             .mapping("i", "p2")
                             .encodedMappings();
    ASSERT_EQ(encoded.size(), 3U);
    EXPECT_THAT(std::vector<std::string>(encoded.begin(), encoded.begin() + 2),
                ::testing::UnorderedElementsAre("i>p1", "i>p3"));
    EXPECT_EQ(encoded.back(), "i>p2");
}

TEST(EncodeConfiguration, IsNotMisledByMappingsOfOtherInterfaces) {
    EXPECT_THAT(Model().mappedToAll("i").publisher("p").mapping("h", "p").mapping("j", "p").encodedMappings(),
                ElementsAre("i>p", "h>p", "j>p"));
}

TEST(EncodeConfiguration, IsNotMisledByAMappingToAnotherPublisher) {
    EXPECT_THAT(Model().mappedToAll("i").publisher("p").mapping("i", "q").encodedMappings(),
                ElementsAre("i>p", "i>q"));
}

TEST(EncodeConfiguration, MapsNoUnmappedInterface) {
    EXPECT_THAT(Model().unmapped("i").publisher("p").encodedMappings(), ElementsAre());
}

TEST(EncodeConfiguration, MapsNothingWithoutPublishers) {
    EXPECT_THAT(Model().mappedToAll("i").encodedMappings(), ElementsAre());
}

TEST(EncodeConfiguration, VisitsInterfacesAndPublishersInTheOrderOfTheirContainers) {
    Model model;
    for (auto number = 0; number < 40; ++number) {
        model.mappedToAll("i" + std::to_string(number)).publisher("p" + std::to_string(number));
    }
    std::vector<std::string> interfaces;
    std::vector<std::string> publishers;
    std::vector<std::string> mappings;
    for (auto const& publisher : model.publishers) {
        publishers.push_back(publisher.uniqueID);
    }
    for (auto const& entry : model.interfaces) {
        interfaces.push_back(entry.configuration.uniqueID);
        for (auto const& publisher : publishers) {
            mappings.push_back(interfaces.back() + ">" + publisher);
        }
    }
    EXPECT_THAT(model.encodedIDs("serviceConfigurations"), ElementsAreArray(interfaces));
    EXPECT_THAT(model.encodedIDs("servicePublisherConfigurations"), ElementsAreArray(publishers));
    EXPECT_THAT(model.encodedMappings(), ElementsAreArray(mappings));
}

TEST(EncodeConfiguration, FindsEveryKeyWithoutRegardToCase) {
    auto const map = Model().unmapped("i").publisher("p").mapping("i", "p").encode();
    auto const first = [&](std::string const& key) {
        return any_cast<AnyMap>(any_cast<std::vector<Any>>(map.at(key)).front());
    };
    EXPECT_EQ(describe(first("SERVICECONFIGURATIONS").at("UNIQUEID")), R"("i")");
    EXPECT_EQ(describe(any_cast<AnyMap>(first("serviceconfigurations").at("VERSION")).at("MAJOR")), "1");
    EXPECT_EQ(
        describe(any_cast<AnyMap>(first("SERVICEPUBLISHERCONFIGURATIONS").at("CONFIG")).at("IMPORTFILTER")),
        R"("")");
    EXPECT_EQ(describe(first("SERVICEPUBLISHERMAPPINGS").at("PUBLISHERID")), R"("p")");
    EXPECT_EQ(map.count("MODIFICATIONCOUNT"), 1U);
}

TEST(EncodeConfiguration, GivesEqualMapsOfEqualModels) {
    auto const model = Model().mappedToAll("i").publisher("p").mapping("j", "p");
    EXPECT_EQ(describe(model.encode()), describe(model.encode()));
}

TEST(EncodeConfiguration, PassesAnAllocationFailureOn) {
    auto const model = Model().mappedToAll("i").publisher("p").mapping("j", "p");
    auto const whole = describe(model.encode());
    for (std::size_t n = 1;; ++n) {
        AnyMap map;
        try {
            AllocationFailure const failure(n);
            map = model.encode();
        } catch (std::bad_alloc const&) {
            continue;
        }
        EXPECT_EQ(describe(map), whole);
        EXPECT_GT(n, 1U);
        return;
    }
}

} // namespace
} // namespace agent::spf::frameworksetup::test
