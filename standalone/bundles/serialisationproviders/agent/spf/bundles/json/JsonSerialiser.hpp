// The serialiser whose text is JSON.
#ifndef AGENT_SPF_BUNDLES_JSON_JSON_SERIALISER_HPP
#define AGENT_SPF_BUNDLES_JSON_JSON_SERIALISER_HPP

#include <cstddef>

#include "agent/spf/bundles/Serialiser.hpp"

namespace agent::spf::bundles::json {

// Deeper nested values are neither written nor read: a hostile text cannot exhaust the stack.
inline constexpr std::size_t maximumDepth = 64;

// Objects with more members are neither written nor read: with keys chosen so that a map's hash puts them all
// in one place, the time to read an object grows with the square of their number.
inline constexpr std::size_t maximumMembers = 4096;

// A map becomes an object whose members stand in the order of their keys, so that equal maps give equal
// texts; a list becomes an array, and an empty Any null.
class JsonSerialiser : public Serialiser {
public:
    std::string serialise(cppmicroservices::AnyMap const& map) const override;
    cppmicroservices::AnyMap parse(std::string_view text) const override;
};

} // namespace agent::spf::bundles::json

#endif
