// What a publisher makes of an interface entry: the properties that travel and that filters see.
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent/spf/bundles/ConfigurationKeys.hpp"
#include "agent/spf/bundles/common/Properties.hpp"
#include "agent/spf/bundles/publisher/OfferedInterface.hpp"

namespace {

using namespace agent::spf::bundles;
using namespace agent::spf::bundles::publisher;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using testing::AllOf;
using testing::HasSubstr;
using testing::ThrowsMessage;

std::string const required = keys::requiredServicePropertyPrefix;

AnyMap interfaceEntry(AnyMap const& requested) {
    auto version = makeMap();
    version[keys::major] = 1;
    auto entry = makeMap();
    entry[keys::uniqueID] = std::string("i");
    entry[keys::name] = std::string("clock");
    entry[keys::version] = version;
    entry[keys::requestedProperties] = requested;
    return entry;
}

RemoteOffer offerWith(std::string const& key, Any const& value) {
    auto requested = makeMap();
    requested[key] = value;
    return readInterface(interfaceEntry(requested), "publisher \"p\"");
}

TEST(OfferedInterface, ARequiredPropertyIsCarriedWithoutThePrefix) {
    EXPECT_EQ(offerWith(required + "timeout", Any(std::string("30"))).properties.at("timeout"),
              std::string("30"));
}

TEST(OfferedInterface, ARequiredPropertyCountsBeforeAnotherOfItsName) {
    auto requested = makeMap();
    requested["timeout"] = std::string("10");
    requested[required + "timeout"] = std::string("30");

    auto const offer = readInterface(interfaceEntry(requested), "publisher \"p\"");

    EXPECT_EQ(offer.properties.at("timeout"), std::string("30"));
}

TEST(OfferedInterface, ARequiredPropertyWhoseNameHasDotsIsPutTogetherAgain) {
    auto inner = makeMap();
    inner["b"] = std::string("1");
    inner[R"(c\/d)"] = std::string("2");

    auto const offer = offerWith(required + "a", Any(inner));

    EXPECT_EQ(offer.properties.size(), 2U);
    EXPECT_EQ(offer.properties.at("a.b"), std::string("1"));
    EXPECT_EQ(offer.properties.at("a.c/d"), std::string("2"));
}

TEST(OfferedInterface, EscapesOfKeysAreUndone) {
    EXPECT_EQ(offerWith(R"(a\/b)", Any(1)).properties.count("a/b"), 1U);
    EXPECT_EQ(offerWith(R"(a\\\"\t\u001Fz)", Any(1)).properties.count("a\\\"\t\x1fz"), 1U);
    EXPECT_EQ(offerWith(R"(\r\u001F)", Any(1)).properties.count("\r\x1f"), 1U);
    EXPECT_EQ(offerWith(R"(end\)", Any(1)).properties.count("end\\"), 1U);
}

TEST(OfferedInterface, ItsOwnWordsWinOverRequestedProperties) {
    auto const properties = serviceProperties(offerWith("INTERFACE", Any(std::string("other"))));

    EXPECT_EQ(properties.at("interface"), std::string("clock"));
}

TEST(OfferedInterface, FiltersSeeNameVersionAndProperties) {
    auto const offer = offerWith(required + "colour", Any(std::string("red")));

    EXPECT_TRUE(passes({}, offer));
    EXPECT_TRUE(passes(parseFilter("(&(interface=clock)(uniqueID=i)(version=1)(colour=red))", "f"), offer));
    EXPECT_FALSE(passes(parseFilter("(colour=blue)", "f"), offer));
}

TEST(OfferedInterface, AFilterThatIsNoneIsNamed) {
    EXPECT_THAT([] { parseFilter("(a=", "publisher \"p\": exportFilter"); },
                ThrowsMessage<std::runtime_error>(AllOf(HasSubstr("exportFilter"), HasSubstr("\"(a=\""))));
}

TEST(OfferedInterface, AMissingEntryIsNamed) {
    auto entry = interfaceEntry(makeMap());
    entry.erase(keys::version);

    EXPECT_THAT([&] { readInterface(entry, "publisher \"p\""); },
                ThrowsMessage<std::runtime_error>(AllOf(HasSubstr("publisher \"p\": interface \"i\""),
                                                        HasSubstr("\"version\" is missing"))));
}

} // namespace
