// Property trees of any shape: converted, they must be what the rules of the conversion say, worked out here
// a second time over plain containers.
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <boost/property_tree/ptree.hpp>
#include <cppmicroservices/AnyMap.h>
#include <fuzzer/FuzzedDataProvider.h>

#include "model/propertyTreeToAnyMap.hpp"
#include "require.hpp"

namespace {

using boost::property_tree::ptree;
using cppmicroservices::AnyMap;

ptree makeTree(FuzzedDataProvider& input) {
    ptree root;
    std::vector<ptree*> path = {&root};
    while (input.remaining_bytes() > 0) {
        auto const step = input.ConsumeIntegral<std::uint8_t>();
        if (step % 4 == 0 && path.size() > 1) {
            path.pop_back();
            continue;
        }
        auto const name = input.ConsumeRandomLengthString(4);
        auto const datum = step % 4 == 1 ? input.ConsumeRandomLengthString(20) : std::string();
        path.back()->push_back({name, ptree(datum)});
        if (step % 4 != 2) {
            path.push_back(&path.back()->back().second);
        }
    }
    return root;
}

std::string escaped(std::string const& name) {
    static std::map<char, std::string> const letters = {{'"', "\\\""}, {'\\', "\\\\"}, {'/', "\\/"},
                                                        {'\b', "\\b"}, {'\f', "\\f"},  {'\n', "\\n"},
                                                        {'\r', "\\r"}, {'\t', "\\t"}};
    std::string text;
    for (auto const character : name) {
        auto const byte = static_cast<unsigned char>(character);
        auto const letter = letters.find(character);
        if (letter != letters.end()) {
            text += letter->second;
        } else if (byte < 0x20) {
            constexpr char const* digits = "0123456789ABCDEF";
            text += std::string("\\u00") + digits[byte / 16] + digits[byte % 16];
        } else {
            text += character;
        }
    }
    return text;
}

std::string lowerCase(std::string text) {
    for (auto& character : text) {
        character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
    }
    return text;
}

// Entries by key in lower case: the key itself and the value.
using Entries = std::map<std::string, std::pair<std::string, std::string>>;

std::string toText(Entries const& entries) {
    std::string text = "{";
    for (auto const& [lower, entry] : entries) {
        text += entry.first + '=' + entry.second + ';';
    }
    return text + '}';
}

std::string expected(ptree const& tree) {
    Entries entries;
    for (auto const& [name, child] : tree) {
        auto const key = escaped(name);
        auto& entry = entries.emplace(lowerCase(key), std::make_pair(key, "")).first->second;
        entry.second = child.data().empty() && !child.empty() ? expected(child) : "'" + child.data() + "'";
    }
    return toText(entries);
}

std::string actual(AnyMap const& map) {
    require(map.GetType() == AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS, "the type of the map");
    Entries entries;
    for (auto const& [key, value] : map) {
        auto const* const nested = cppmicroservices::any_cast<AnyMap>(&value);
        auto const isNew =
            entries
                .emplace(
                    lowerCase(key),
                    std::make_pair(key, nested ? actual(*nested)
                                               : "'" + cppmicroservices::any_cast<std::string>(value) + "'"))
                .second;
        require(isNew, "keys that differ in case only");
    }
    return toText(entries);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    auto const tree = makeTree(input);
    auto const map = agent::spf::frameworksetup::propertyTreeToAnyMap(tree);
    requireEqual(actual(map), expected(tree), "the converted tree");
    return 0;
}
