// Hashing and comparing keys without regard to the case of ASCII letters, eight bytes at a time.
#ifndef CPPMICROSERVICES_SRC_VALUES_KEYTEXT_HPP
#define CPPMICROSERVICES_SRC_VALUES_KEYTEXT_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

namespace cppmicroservices::detail {

// Texts of at least one word are read in words, the last of which may overlap the one before it.
inline constexpr std::size_t wordSize = sizeof(std::uint64_t);

// The bytes of `word` with those between 'A' and 'Z' made lower-case.
inline std::uint64_t foldCase(std::uint64_t word) noexcept {
    constexpr std::uint64_t eachByte = 0x0101010101010101U;
    std::uint64_t const lowBits = word & (0x7f * eachByte);
    std::uint64_t const atLeastA = lowBits + (0x80 - 'A') * eachByte;
    std::uint64_t const aboveZ = lowBits + (0x7f - 'Z') * eachByte;
    std::uint64_t const isUpper = (atLeastA ^ aboveZ) & ~word & (0x80 * eachByte);
    return word | (isUpper >> 2); // 0x80 becomes 0x20, the difference of the cases
}

template <typename Word>
Word loadWord(char const* text) noexcept {
    Word word;
    std::memcpy(&word, text, sizeof word);
    return word;
}

// All bytes of a text of less than eight; the reads may overlap, so that none of them has a variable length.
inline std::uint64_t loadShort(char const* text, std::size_t length) noexcept {
    if (length >= 4) {
        return loadWord<std::uint32_t>(text) | std::uint64_t{loadWord<std::uint32_t>(text + length - 4)}
                                                   << 32;
    }
    if (length == 0) {
        return 0;
    }
    auto const byteAt = [text](std::size_t i) { return std::uint64_t{static_cast<unsigned char>(text[i])}; };
    return byteAt(0) | byteAt(length / 2) << 8 | byteAt(length - 1) << 16;
}

// The same for texts that are equal but for case. All bits of the hash depend on all bytes, so that its low
// bits can choose a place in a table.
inline std::size_t hashFolded(std::string_view key) noexcept {
    constexpr std::uint64_t multiplier = 0x9e3779b97f4a7c15U;
    // In which the cases of a letter differ. What else it makes equal, such as '_' and the delete character,
    // hardly stands in the same place of two keys.
    constexpr std::uint64_t caseBits = 0x2020202020202020U;
    // A product's low bits depend on low bits only; the rotation brings the others down.
    auto const mix = [](std::uint64_t hash, std::uint64_t word) {
        return ((hash << 26 | hash >> 38) ^ (word | caseBits)) * multiplier;
    };
    std::uint64_t hash = key.size();
    if (key.size() < wordSize) {
        hash = mix(hash, loadShort(key.data(), key.size()));
    } else {
        for (std::size_t i = 0; i + wordSize < key.size(); i += wordSize) {
            hash = mix(hash, loadWord<std::uint64_t>(key.data() + i));
        }
        hash = mix(hash, loadWord<std::uint64_t>(key.data() + key.size() - wordSize));
    }
    hash ^= hash >> 32;
    hash *= multiplier;
    return static_cast<std::size_t>(hash ^ hash >> 29);
}

inline bool equalFolded(std::string_view left, std::string_view right) noexcept {
    if (left.size() != right.size()) {
        return false;
    }
    if (left.size() < wordSize) {
        return foldCase(loadShort(left.data(), left.size())) ==
               foldCase(loadShort(right.data(), right.size()));
    }
    auto const equalWordsAt = [left, right](std::size_t i) {
        return foldCase(loadWord<std::uint64_t>(left.data() + i)) ==
               foldCase(loadWord<std::uint64_t>(right.data() + i));
    };
    for (std::size_t i = 0; i + wordSize < left.size(); i += wordSize) {
        if (!equalWordsAt(i)) {
            return false;
        }
    }
    return equalWordsAt(left.size() - wordSize);
}

// The first key of the map of which a variant in other letter case follows; null if there is none.
template <typename Map>
std::string const* findCaseVariant(Map const& map) {
    for (auto entry = map.begin(); entry != map.end(); ++entry) {
        for (auto other = std::next(entry); other != map.end(); ++other) {
            if (equalFolded(entry->first, other->first)) {
                return &entry->first;
            }
        }
    }
    return nullptr;
}

template <std::size_t... i>
std::uint64_t loadBigEndian(char const* text, std::index_sequence<i...> /*bytes*/) noexcept {
    return ((std::uint64_t{static_cast<unsigned char>(text[i])} << 8 * (sizeof...(i) - 1 - i)) | ...);
}

// A number whose highest bytes are the first `bytes` bytes of `text`.
template <std::size_t bytes>
std::uint64_t loadOrdered(char const* text) noexcept {
    return loadBigEndian(text, std::make_index_sequence<bytes>()) << 8 * (wordSize - bytes);
}

// The eight bytes from `begin` on as a number that orders texts, which are equal up to there, as they are
// ordered, as far as it tells them apart.
inline std::uint64_t orderingPrefix(std::string_view text, std::size_t begin) noexcept {
    auto const size = text.size();
    if (begin >= size) {
        return 0;
    }
    if (size >= wordSize) {
        auto const start = std::min(begin, size - wordSize);
        return loadOrdered<wordSize>(text.data() + start) << 8 * (begin - start);
    }
    std::uint64_t whole = 0;
    if (size >= 4) {
        whole = loadOrdered<4>(text.data()) | loadOrdered<4>(text.data() + size - 4) >> 8 * (size - 4);
    } else {
        whole = loadOrdered<1>(text.data()) | loadOrdered<1>(text.data() + size / 2) >> 8 * (size / 2) |
                loadOrdered<1>(text.data() + size - 1) >> 8 * (size - 1);
    }
    return whole << 8 * begin;
}

} // namespace cppmicroservices::detail

#endif
