// Encoding and decoding of messages, and their limits.
#include "agent/spf/bundles/publisher/Messages.hpp"

#include <set>
#include <stdexcept>

#include "agent/spf/bundles/common/Properties.hpp"

namespace agent::spf::bundles::publisher {

namespace {

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

// The name that stands under `key`.
std::string const& checkedName(std::string const& name, char const* key, std::string const& where) {
    if (name.size() > maximumNameSize) {
        throw std::runtime_error(where + ": \"" + key + "\" has " + std::to_string(name.size()) +
                                 " bytes, allowed are " + std::to_string(maximumNameSize));
    }
    return name;
}

void checkNames(RemoteOffer const& offer) {
    checkedName(offer.uniqueID, uniqueIDKey, offersType);
    checkedName(offer.interfaceName, nameKey, "offers: interface \"" + offer.uniqueID + "\"");
}

void checkNumberOfInterfaces(std::size_t count) {
    if (count > maximumInterfaces) {
        throw std::runtime_error(std::string(offersType) + ": " + std::to_string(count) +
                                 " interfaces, allowed are " + std::to_string(maximumInterfaces));
    }
}

Hello decodeHello(AnyMap const& message) {
    auto const protocol = intAt(message, protocolKey, helloType);
    if (protocol != protocolVersion) {
        throw std::runtime_error("protocol version " + std::to_string(protocol) +
                                 " is not supported, expected " + std::to_string(protocolVersion));
    }
    auto const nameAt = [&message](char const* key) {
        return checkedName(stringAt(message, key, helloType), key, helloType);
    };
    return {nameAt(agentKey), nameAt(publisherKey)};
}

Offers decodeOffers(AnyMap const& message) {
    auto const& interfaces = listAt(message, interfacesKey, offersType);
    checkNumberOfInterfaces(interfaces.size());
    Offers result;
    std::set<std::string> uniqueIDs;
    for (auto const& element : interfaces) {
        auto const& interface = asMap(element, "offers: an interface");
        RemoteOffer offer{
            stringAt(interface, nameKey, offersType), stringAt(interface, uniqueIDKey, offersType),
            intAt(interface, versionKey, offersType), mapAt(interface, propertiesKey, offersType)};
        checkNames(offer);
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
    message[agentKey] = checkedName(hello.agent, agentKey, helloType);
    message[publisherKey] = checkedName(hello.publisher, publisherKey, helloType);
    return message;
}

AnyMap encode(Offers const& offers) {
    checkNumberOfInterfaces(offers.offers.size());
    AnyList interfaces;
    for (auto const& offer : offers.offers) {
        checkNames(offer);
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
