// The hash by which a string endpoint is found among many.
#ifndef TRACKING_ENDPOINT_HASH_HPP
#define TRACKING_ENDPOINT_HASH_HPP

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace agent::spf::frameworksetup {

// Takes eight characters at a time, which is what the time to make an index depends on: the standard
// library's hash takes four times as many instructions for an endpoint's text. All bits of the result depend
// on all characters, so that it can be cut to any size.
inline std::uint64_t hashOfEndpoint(std::string const& text) noexcept {
    constexpr std::uint64_t oddMultiplier = 0x9E3779B97F4A7C15U; // the golden ratio's fraction times 2^64
    constexpr std::size_t step = sizeof(std::uint64_t);
    std::uint64_t hash = text.size();
    // Lower bits of a product do not depend on higher ones of its factors; the rotation makes those the
    // lower.
    auto const mix = [&hash](char const* characters, std::size_t count) {
        std::uint64_t word = 0;
        std::memcpy(&word, characters, count);
        hash = ((hash << 26U | hash >> 38U) ^ word) * oddMultiplier;
    };
    auto const* at = text.data();
    auto const* const end = at + text.size();
    if (text.size() < step) {
        mix(at, text.size());
    } else {
        for (; at + step < end; at += step) {
            mix(at, step);
        }
        mix(end - step, step); // the last characters, some of them once more
    }
    hash = (hash ^ hash >> 32U) * oddMultiplier;
    return hash ^ hash >> 29U;
}

} // namespace agent::spf::frameworksetup

#endif
