// A long list of outstanding endpoints, with a hash table over its strings.
#ifndef TRACKING_INDEXED_ENDPOINTS_HPP
#define TRACKING_INDEXED_ENDPOINTS_HPP

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
    explicit IndexedEndpoints(std::vector<cppmicroservices::Any> listed);

    bool empty() const noexcept { return outstandingCount == 0; }
    bool remove(cppmicroservices::Any const& endpoint) noexcept;
    std::vector<cppmicroservices::Any> list() const;

private:
    using Position = std::uint32_t;

    // A place in the hash table: the position of a string in the list, plus one, and part of the string's
    // hash, which spares most comparisons of different strings. Zero: a free place.
    struct Slot {
        std::uint32_t hash = 0;
        Position positionPlusOne = 0;
    };

    void indexString(Position position, std::string const& text);
    Slot& slotOf(std::string const& text, std::uint64_t hash);
    bool removeString(std::string const& text) noexcept;
    bool removeSearched(cppmicroservices::Any const& endpoint) noexcept;
    void removeAt(Position position) noexcept;

    // As listed, those that are removed among them: to free each for itself takes as long as to find it.
    std::vector<cppmicroservices::Any> endpoints;
    std::vector<bool> outstanding; // which of them are left
    std::size_t outstandingCount;

    std::vector<Slot> slots; // the hash table with linear probing, its size a power of two
    std::unordered_map<Position, std::vector<Position>> repetitions; // of a string, by its first position
    std::vector<Position> searched; // the positions that are not in the table
};

} // namespace agent::spf::frameworksetup

#endif
