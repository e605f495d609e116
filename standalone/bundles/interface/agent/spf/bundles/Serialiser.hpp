// The service interface that turns property maps into text and back.
#ifndef AGENT_SPF_BUNDLES_SERIALISER_HPP
#define AGENT_SPF_BUNDLES_SERIALISER_HPP

#include <string>
#include <string_view>

#include <cppmicroservices/AnyMap.h>

namespace agent::spf::bundles {

// Thread safe.
//
// The values of a map are strings, bools, integers, floating-point numbers, maps and lists
// (std::vector<cppmicroservices::Any>) of these; an empty Any stands for "no value".
class Serialiser {
public:
    virtual ~Serialiser() = default;

    // The map as text. Throws std::invalid_argument, naming the path of the value, when a value cannot be
    // expressed: one of another type, a string that is not UTF-8, a number that is not finite.
    virtual std::string serialise(cppmicroservices::AnyMap const& map) const = 0;

    // The map that the text describes, as are all maps within it of the type
    // UNORDERED_MAP_CASEINSENSITIVE_KEYS. An integer arrives as the first of int, std::int64_t and
    // std::uint64_t that holds it, another number as double. Throws std::invalid_argument that says what is
    // wrong and where, also when two keys of one map differ in letter case only.
    virtual cppmicroservices::AnyMap parse(std::string_view text) const = 0;
};

} // namespace agent::spf::bundles

#endif
