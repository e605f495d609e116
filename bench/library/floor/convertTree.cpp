// The conversion of a property tree by hand and literally.
#include "floor/convertTree.hpp"

#include <string>
#include <type_traits>
#include <utility>

#define BOOST_BIND_GLOBAL_PLACEHOLDERS // the parser of Boost 1.74 uses them, and says so at every compilation
#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>

namespace spf::bench {

using boost::property_tree::ptree;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using StandardMap = AnyMap::unordered_any_cimap;

// As for encodeByHand().
using Map = std::conditional_t<std::is_trivially_copyable_v<AnyMap::iterator>, AnyMap, StandardMap>;

namespace {

// What follows the backslash for a character that is escaped by a letter; 'u' for other control characters, 0
// for a character that stands for itself.
char escapeOf(char character) {
    switch (character) {
    case '"':
    case '\\':
    case '/':
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

std::string escapeFrom(std::string const& name, std::size_t clean) {
    static constexpr char const* digits = "0123456789ABCDEF";
    std::string escaped;
    escaped.reserve(name.size() + 16);
    escaped.append(name, 0, clean);
    for (auto position = clean; position < name.size(); ++position) {
        auto const character = name[position];
        auto const letter = escapeOf(character);
        if (letter == '\0') {
            escaped += character;
        } else if (letter != 'u') {
            escaped += '\\';
            escaped += letter;
        } else {
            auto const code = static_cast<unsigned char>(character);
            escaped += "\\u00";
            escaped += digits[code >> 4U];
            escaped += digits[code & 0xFU];
        }
    }
    return escaped;
}

std::string escape(std::string const& name) {
    for (std::size_t position = 0; position < name.size(); ++position) {
        if (escapeOf(name[position]) != '\0') {
            return escapeFrom(name, position);
        }
    }
    return name;
}

[[maybe_unused]] void reserve(StandardMap& map, std::size_t entries) {
    map.reserve(entries);
}

[[maybe_unused]] void reserve(AnyMap& /*map*/, std::size_t /*entries*/) {
    // It cannot.
}

} // namespace

AnyMap convertByHand(ptree const& tree) {
    Map map;
    reserve(map, tree.size());
    for (auto const& [name, child] : tree) {
        auto& value = map[escape(name)];
        if (child.data().empty() && !child.empty()) {
            value = convertByHand(child);
        } else {
            value = child.data();
        }
    }
    return AnyMap(std::move(map));
}

AnyMap convertLiterally(ptree const& tree) {
    AnyMap map(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    for (auto const& [name, child] : tree) {
        auto const key = boost::property_tree::json_parser::create_escapes(name);
        if (!child.data().empty()) {
            map[key] = child.data();
        } else if (!child.empty()) {
            AnyMap const nested = convertLiterally(child);
            map[key] = Any(nested);
        } else {
            map[key] = std::string();
        }
    }
    return map;
}

} // namespace spf::bench
