// When two endpoints are the same.
#ifndef TRACKING_ENDPOINT_EQUALITY_HPP
#define TRACKING_ENDPOINT_EQUALITY_HPP

#include <string>

#include <cppmicroservices/Any.h>

namespace agent::spf::frameworksetup {

// The text of an endpoint that is a string, as endpoints normally are; null for one of another type.
inline std::string const* asString(cppmicroservices::Any const& endpoint) noexcept {
    return cppmicroservices::any_cast<std::string>(&endpoint);
}

// What areEqual() says when one of the two is a string, without the detour through `Any`.
inline bool isString(cppmicroservices::Any const& endpoint, std::string const& text) noexcept {
    auto const* const held = asString(endpoint);
    return held != nullptr && *held == text;
}

// `Any` equality decides; an empty endpoint equals nothing, which CppMicroServices leaves undefined, nor does
// one whose comparison throws.
inline bool areEqual(cppmicroservices::Any const& left, cppmicroservices::Any const& right) noexcept {
    try {
        return !left.Empty() && !right.Empty() && left == right;
    } catch (...) {
        return false;
    }
}

} // namespace agent::spf::frameworksetup

#endif
