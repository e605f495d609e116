// The properties of an offer: what their keys stand for, and whether a filter lets them pass.
#include "agent/spf/bundles/publisher/OfferedInterface.hpp"

#include <charconv>
#include <stdexcept>
#include <string_view>

#include "agent/spf/bundles/ConfigurationKeys.hpp"
#include "agent/spf/bundles/RemoteService.hpp"
#include "agent/spf/bundles/common/Properties.hpp"

namespace agent::spf::bundles::publisher {

namespace {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using cppmicroservices::LDAPFilter;

constexpr std::string_view requiredPrefix = keys::requiredServicePropertyPrefix;

char unescaped(char escape) {
    switch (escape) {
    case 'b':
        return '\b';
    case 'f':
        return '\f';
    case 'n':
        return '\n';
    case 'r':
        return '\r';
    case 't':
        return '\t';
    default:
        return escape; // a quote, a backslash or a slash
    }
}

// Undoes the escapes that keys of requested properties are written with: those of JSON, of which \u stands
// for control characters only.
std::string unescapeKey(std::string_view key) {
    std::string text;
    for (std::size_t i = 0; i < key.size(); ++i) {
        if (key[i] != '\\' || i + 1 == key.size()) {
            text += key[i];
            continue;
        }
        ++i;
        unsigned code = 0;
        auto const* const digits = key.data() + i + 1;
        if (key[i] == 'u' && i + 4 < key.size() &&
            std::from_chars(digits, digits + 4, code, 16).ptr == digits + 4) {
            text += static_cast<char>(code);
            i += 4;
        } else {
            text += unescaped(key[i]);
        }
    }
    return text;
}

bool isRequired(std::string_view key) {
    return key.substr(0, requiredPrefix.size()) == requiredPrefix;
}

// Adds a required property under its whole name; a map holds the rest of a name that has dots.
void addRequired(AnyMap& properties, std::string const& name, Any const& value) {
    if (value.Type() != typeid(AnyMap)) {
        properties[name] = value;
        return;
    }
    for (auto const& [key, inner] : cppmicroservices::ref_any_cast<AnyMap>(value)) {
        addRequired(properties, name + "." + unescapeKey(key), inner);
    }
}

AnyMap offeredProperties(AnyMap const& requested) {
    auto properties = makeMap();
    for (auto const& [key, value] : requested) {
        if (!isRequired(key)) {
            properties[unescapeKey(key)] = value;
        }
    }
    for (auto const& [key, value] : requested) {
        if (isRequired(key)) {
            addRequired(properties, unescapeKey(std::string_view(key).substr(requiredPrefix.size())), value);
        }
    }
    return properties;
}

} // namespace

RemoteOffer readInterface(AnyMap const& entry, std::string const& where) {
    auto const& uniqueID = stringAt(entry, keys::uniqueID, where + ": an interface");
    auto const here = where + ": interface \"" + uniqueID + "\"";
    return {stringAt(entry, keys::name, here), uniqueID,
            intAt(mapAt(entry, keys::version, here), keys::major, here),
            offeredProperties(mapAt(entry, keys::requestedProperties, here))};
}

AnyMap serviceProperties(RemoteOffer const& offer) {
    auto properties = offer.properties;
    properties[remoteservice::interfaceKey] = offer.interfaceName;
    properties[remoteservice::uniqueIDKey] = offer.uniqueID;
    properties[remoteservice::versionKey] = offer.majorVersion;
    return properties;
}

LDAPFilter parseFilter(std::string const& text, std::string const& name) {
    if (text.empty()) {
        return {};
    }
    try {
        return LDAPFilter(text);
    } catch (std::exception const& error) {
        throw std::runtime_error(name + " \"" + text + "\" is no LDAP filter: " + error.what());
    }
}

bool passes(LDAPFilter const& filter, RemoteOffer const& offer) {
    return !filter || filter.Match(serviceProperties(offer));
}

} // namespace agent::spf::bundles::publisher
