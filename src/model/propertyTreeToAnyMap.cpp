// Conversion of a property tree into a property map.
#include "model/propertyTreeToAnyMap.hpp"

#include <algorithm>
#include <string>
#include <utility>

#include <boost/property_tree/ptree.hpp>

#include "model/MapToFill.hpp"

namespace agent::spf::frameworksetup {

using cppmicroservices::AnyMap;

namespace {

// What follows the backslash when the character is escaped, which is 'u' for one that is written as a number;
// 0 for a character that stands for itself.
char escapeOf(char character) {
    switch (character) {
    case '"':
    case '/':
    case '\\':
        return character;
    case '\b':
        return 'b';
    case '\f':
        return 'f';
    case '\n':
        return 'n';
    case '\r':
        return 'r';
    case '\t':
        return 't';
    default:
        return static_cast<unsigned char>(character) < 0x20 ? 'u' : '\0';
    }
}

void appendEscaped(std::string& text, char character) {
    auto const escape = escapeOf(character);
    if (escape == '\0') {
        text += character;
        return;
    }
    text += '\\';
    text += escape;
    if (escape == 'u') {
        constexpr auto* digits = "0123456789ABCDEF";
        text += "00";
        text += digits[character / 16];
        text += digits[character % 16];
    }
}

// Names are escaped as Boost.PropertyTree escapes them when it writes JSON text. Most need nothing of it.
std::string toKey(std::string const& name) {
    auto const escapedFrom =
        std::find_if(name.begin(), name.end(), [](char character) { return escapeOf(character) != '\0'; });
    if (escapedFrom == name.end()) {
        return name;
    }
    std::string key;
    key.reserve(name.size() + 5); // what one character takes more at most; few names have several to escape
    key.assign(name.begin(), escapedFrom);
    std::for_each(escapedFrom, name.end(), [&](char character) { appendEscaped(key, character); });
    return key;
}

} // namespace

AnyMap propertyTreeToAnyMap(boost::property_tree::ptree const& tree) {
    MapToFill map;
    reserve(map, tree.size());
    for (auto const& [name, child] : tree) {
        auto& value = map[toKey(name)]; // of equal keys the first stays, of their values the last
        if (child.data().empty() && !child.empty()) {
            value = propertyTreeToAnyMap(child);
        } else {
            value = child.data(); // which wins over its children: they are dropped
        }
    }
    return AnyMap(std::move(map));
}

} // namespace agent::spf::frameworksetup
