// Any text as an LDAP filter: refused, or read in such a way that its own text means the same again.
#include <array>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/LDAPFilter.h>

#include "require.hpp"

namespace {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using cppmicroservices::LDAPFilter;

std::array<AnyMap, 2> makeProperties() {
    AnyMap properties(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    properties["a"] = std::string("Text (with) *");
    properties["b"] = 42;
    properties["c"] = 1.5;
    properties["d"] = true;
    properties["e"] = std::vector<std::string>{"x", "yy", ""};
    properties["f"] = std::vector<Any>{Any(1), Any(std::string("x")), Any()};
    properties["g"] = 'c';
    properties["h"] = Any();
    return {properties, AnyMap(AnyMap::ORDERED_MAP)};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static auto const maps = makeProperties();
    std::string const text(reinterpret_cast<char const*>(data), size);
    try {
        LDAPFilter const filter(text);
        LDAPFilter const again(filter.ToString());
        requireEqual(again.ToString(), filter.ToString(), "the text of the filter's text");
        for (auto const& properties : maps) {
            require(filter.Match(properties) == again.Match(properties), "what the filter matches");
            require(filter.MatchCase(properties) == again.MatchCase(properties),
                    "what it matches with regard to case");
        }
    } catch (std::invalid_argument const& error) {
        require(error.what()[0] != '\0', "a refusal says why");
    }
    return 0;
}
