// The endpoints of one publisher that are still to be bound, or still to be connected.
#ifndef TRACKING_OUTSTANDING_ENDPOINTS_HPP
#define TRACKING_OUTSTANDING_ENDPOINTS_HPP

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include <cppmicroservices/Any.h>

namespace agent::spf::frameworksetup {

// A list from which endpoints only leave. `Any` equality decides what an endpoint is; an empty one equals
// nothing, nor does one whose comparison throws. A short list is searched. A long one has a hash table over
// its strings, which is what endpoints normally are, so that removing costs the same however many are
// outstanding; endpoints of other types are searched. Not thread safe.
class OutstandingEndpoints {
public:
    explicit OutstandingEndpoints(std::vector<cppmicroservices::Any> listed);

    bool empty() const noexcept { return outstandingCount == 0; }

    // Removes every occurrence of the endpoint and returns whether there was one. Never throws.
    bool remove(cppmicroservices::Any const& endpoint) noexcept;

    // Copies of those that are left, in the order in which they were listed.
    std::vector<cppmicroservices::Any> list() const;

private:
    using Position = std::uint32_t;

    // A place in the hash table: the position of a string in the list, plus one, and part of the string's
    // hash, which spares most comparisons of different strings. Zero: a free place.
    struct Slot {
        std::uint32_t hash = 0;
        Position positionPlusOne = 0;
    };

    void makeIndex();
    void indexString(Position position, std::string const& text);
    Slot& slotOf(std::string const& text, std::uint64_t hash);
    bool removeIndexed(std::string const& text);
    bool removeSearched(cppmicroservices::Any const& endpoint);
    bool removeAt(Position position) noexcept;

    std::vector<cppmicroservices::Any> endpoints; // as listed; those that are removed are emptied
    std::vector<bool> outstanding;                // which of them are left
    std::size_t outstandingCount;

    // The hash table with linear probing, its size a power of two; empty for a short list.
    std::vector<Slot> slots;
    std::unordered_map<Position, std::vector<Position>> repetitions; // of a string, by its first position
    std::vector<Position> searched; // the positions that are not in the table
};

} // namespace agent::spf::frameworksetup

#endif
