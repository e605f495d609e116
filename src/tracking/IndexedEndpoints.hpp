// A long list of outstanding endpoints, with a hash table over its strings.
#ifndef TRACKING_INDEXED_ENDPOINTS_HPP
#define TRACKING_INDEXED_ENDPOINTS_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include <cppmicroservices/Any.h>

namespace agent::spf::frameworksetup {

// Removing a string, which is what endpoints normally are, costs the same however many are outstanding;
// endpoints of other types are searched. The rules are those of OutstandingEndpoints. Not thread safe.
class IndexedEndpoints {
public:
    // Of at most 2^32 - 1 endpoints.
    explicit IndexedEndpoints(std::vector<cppmicroservices::Any> listed);
    IndexedEndpoints(IndexedEndpoints const&) = delete;
    IndexedEndpoints& operator=(IndexedEndpoints const&) = delete;

    bool empty() const noexcept { return outstandingCount == 0; }
    bool remove(cppmicroservices::Any const& endpoint) noexcept;
    std::vector<cppmicroservices::Any> list() const;

private:
    using Position = std::uint32_t;

    // A place in the hash table. It leads straight to the characters of a string, because on the way through
    // its `Any` there is a cache miss at each step; the tag, which is part of the string's hash, spares
    // nearly all comparisons of different strings.
    struct Slot {
        char const* characters = nullptr;
        std::uint16_t tag = 0;
        std::uint16_t length = 0;     // at most `longest`, which stands for all lengths from there on
        Position positionPlusOne = 0; // in the list; zero: a free place
    };
    static constexpr std::uint16_t longest = 0xFFFF;
    static std::uint16_t shortened(std::size_t length) noexcept {
        return static_cast<std::uint16_t>(std::min<std::size_t>(length, longest));
    }

    void indexRange(std::size_t begin, std::size_t end);
    void indexString(Position position, std::string const& text, std::uint64_t hash);
    // Where the search for a string of that hash begins.
    std::size_t firstPlaceOf(std::uint64_t hash) const noexcept {
        return static_cast<std::size_t>(hash) & (slots.size() - 1);
    }
    Slot& slotOf(std::string const& text, std::uint64_t hash) noexcept;
    // Whether a slot with the text's tag holds the text. On nearly all of its way a search does not come
    // here.
    [[gnu::noinline]] bool holds(Slot const& slot, std::string const& text) const noexcept;
    bool removeString(std::string const& text) noexcept;
    bool removeNext(std::string const& text) noexcept;
    bool removeSearched(cppmicroservices::Any const& endpoint) noexcept;
    void removeAt(Position position) noexcept;

    // As listed and unchanged, those that are removed among them: to free each for itself takes as long as to
    // find it.
    std::vector<cppmicroservices::Any> const endpoints;
    std::vector<bool> outstanding; // which of them are left
    std::size_t outstandingCount;

    Position next = 0;   // the one after the endpoint removed last
    bool inOrder = true; // whether that one was the next itself: then so may be the one that comes now

    std::vector<Slot> slots; // the hash table with linear probing, its size a power of two
    std::unordered_map<Position, std::vector<Position>> repetitions; // of a string, by its first position
    std::vector<Position> searched; // the positions that are not in the table
};

} // namespace agent::spf::frameworksetup

#endif
