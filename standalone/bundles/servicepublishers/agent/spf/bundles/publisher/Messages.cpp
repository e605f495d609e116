#include "agent/spf/bundles/publisher/Messages.hpp"

#include <set>
#include <stdexcept>

#include "agent/spf/bundles/common/Properties.hpp"

namespace agent::spf::bundles::publisher {

namespace {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;

// The words of the messages.
constexpr char const* typeKey = "type";
constexpr char const* helloType = "hello";
constexpr char const* offersType = "offers";
constexpr char const* protocolKey = "protocol";
constexpr char const* agentKey = "agent";
constexpr char const* publisherKey = "publisher";
constexpr char const* interfacesKey = "interfaces";
constexpr char const* nameKey = "name";
constexpr char const* uniqueIDKey = "uniqueID";
constexpr char const* versionKey = "version";
constexpr char const* propertiesKey = "properties";

Hello decodeHello(AnyMap const& message) {
    auto const protocol = intAt(message, protocolKey, helloType);
    if (protocol != protocolVersion) {
        throw std::runtime_error("protocol version " + std::to_string(protocol) +
                                 " is not supported, expected " + std::to_string(protocolVersion));
    }
    return {stringAt(message, agentKey, helloType), stringAt(message, publisherKey, helloType)};
}

Offers decodeOffers(AnyMap const& message) {
    Offers result;
    std::set<std::string> uniqueIDs;
    for (auto const& element : listAt(message, interfacesKey, offersType)) {
        auto const& interface = asMap(element, "offers: an interface");
        RemoteOffer offer{
            stringAt(interface, nameKey, offersType), stringAt(interface, uniqueIDKey, offersType),
            intAt(interface, versionKey, offersType), mapAt(interface, propertiesKey, offersType)};
        if (!uniqueIDs.insert(offer.uniqueID).second) {
            throw std::runtime_error("offers: the unique ID \"" + offer.uniqueID + "\" appears twice");
        }
        result.offers.push_back(std::move(offer));
    }
    return result;
}

} // namespace

AnyMap encode(Hello const& hello) {
    auto message = makeMap();
    message[typeKey] = std::string(helloType);
    message[protocolKey] = protocolVersion;
    message[agentKey] = hello.agent;
    message[publisherKey] = hello.publisher;
    return message;
}

AnyMap encode(Offers const& offers) {
    AnyList interfaces;
    for (auto const& offer : offers.offers) {
        auto interface = makeMap();
        interface[nameKey] = offer.interfaceName;
        interface[uniqueIDKey] = offer.uniqueID;
        interface[versionKey] = offer.majorVersion;
        interface[propertiesKey] = offer.properties;
        interfaces.emplace_back(interface);
    }
    auto message = makeMap();
    message[typeKey] = std::string(offersType);
    message[interfacesKey] = interfaces;
    return message;
}

Message decode(AnyMap const& message) {
    auto const& type = stringAt(message, typeKey, "message");
    if (type == helloType) {
        return decodeHello(message);
    }
    if (type == offersType) {
        return decodeOffers(message);
    }
    throw std::runtime_error("message: unknown type \"" + type + "\"");
}

} // namespace agent::spf::bundles::publisher
