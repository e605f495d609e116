// Hashing and comparing keys without regard to the case of ASCII letters, eight bytes at a time.
#ifndef CPPMICROSERVICES_SRC_VALUES_KEYTEXT_HPP
#define CPPMICROSERVICES_SRC_VALUES_KEYTEXT_HPP

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace cppmicroservices::detail {

/// The bytes of `word` with those between 'A' and 'Z' made lower-case.
inline std::uint64_t foldCase(std::uint64_t word) noexcept {
    constexpr std::uint64_t eachByte = 0x0101010101010101u;
    std::uint64_t const lowBits = word & (0x7f * eachByte);
    std::uint64_t const atLeastA = lowBits + (0x80 - 'A') * eachByte;
    std::uint64_t const aboveZ = lowBits + (0x7f - 'Z') * eachByte;
    std::uint64_t const isUpper = (atLeastA ^ aboveZ) & ~word & (0x80 * eachByte);
    return word | (isUpper >> 2); // 0x80 becomes 0x20, the difference of the cases
}

/// Up to eight bytes; missing ones are 0.
inline std::uint64_t loadWord(char const* text, std::size_t length) noexcept {
    std::uint64_t word = 0;
    std::memcpy(&word, text, length < sizeof word ? length : sizeof word);
    return word;
}

inline std::size_t hashFolded(std::string_view key) noexcept {
    constexpr std::uint64_t multiplier = 0x9e3779b97f4a7c15u;
    std::uint64_t hash = key.size() * multiplier;
    for (std::size_t i = 0; i < key.size(); i += sizeof(std::uint64_t)) {
        hash = (hash ^ foldCase(loadWord(key.data() + i, key.size() - i))) * multiplier;
        hash ^= hash >> 32;
    }
    return static_cast<std::size_t>(hash);
}

inline bool equalFolded(std::string_view left, std::string_view right) noexcept {
    if (left.size() != right.size()) {
        return false;
    }
    for (std::size_t i = 0; i < left.size(); i += sizeof(std::uint64_t)) {
        std::size_t const rest = left.size() - i;
        if (foldCase(loadWord(left.data() + i, rest)) != foldCase(loadWord(right.data() + i, rest))) {
            return false;
        }
    }
    return true;
}

} // namespace cppmicroservices::detail

#endif
