// The search structure of large hashed maps: a hash table that keeps to itself what it needs to know of the
// nodes.
#ifndef CPPMICROSERVICES_SRC_VALUES_HASHEDINDEX_HPP
#define CPPMICROSERVICES_SRC_VALUES_HASHEDINDEX_HPP

#include "cppmicroservices/AnyMap.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace cppmicroservices::detail {

// Nodes are numbered as they come, and they and what is known of them lie in the order of their numbers. So
// a table grows, and is copied for a map with the same entries, without a look at any key.
class HashedIndex {
public:
    // Makes room for that many nodes, of which there are none. If there is no memory for it, nothing is
    // changed.
    void reserve(std::size_t count);

    // The node with this hash that `isMeant`, null if there is none. Requires that there is room for one.
    template <typename Predicate>
    AnyMapNode* find(std::size_t hash, Predicate const& isMeant) const {
        for (Number number = heads_[headOf(hash)]; number != none; number = links_[number].next) {
            auto const& link = links_[number];
            if (link.hash == shortened(hash) && isMeant(*nodes_[number])) {
                return nodes_[number];
            }
        }
        return nullptr;
    }

    // If there is no memory for it, nothing is changed.
    // \throws std::length_error if there are too many nodes to be numbered
    void insert(std::size_t hash, AnyMapNode* node) {
        if (unused_ == none) {
            grow();
        }
        Number const number = unused_;
        unused_ = links_[number].next;
        links_[number].hash = shortened(hash);
        nodes_[number] = node;
        prepend(number);
    }

    // Requires that the node is here.
    void erase(std::size_t hash, AnyMapNode const* node) noexcept;

    // Whether the numbers of the nodes ascend in the order of their insertion.
    bool isInOrder() const noexcept { return isInOrder_; }

    // The index of a chain of nodes whose keys are those of the nodes here, which are in order.
    HashedIndex copyFor(AnyMapNode* first) const;

private:
    using Number = std::uint32_t;
    static constexpr Number none = UINT32_MAX;

    struct Link {
        std::uint32_t hash = 0;
        Number next = none; // with a hash that leads to the same head, or unused; none: the last one
    };

    static std::uint32_t shortened(std::size_t hash) noexcept { return static_cast<std::uint32_t>(hash); }
    std::size_t headOf(std::size_t hash) const noexcept { return shortened(hash) & (heads_.size() - 1); }
    void grow();

    // Makes a full table larger.
    void growTo(std::size_t size);

    void prepend(Number number) noexcept {
        Number& head = heads_[headOf(links_[number].hash)];
        links_[number].next = std::exchange(head, number);
    }

    std::vector<Number> heads_;      // where the chains begin; a power of two
    std::vector<Link> links_;        // as many
    std::vector<AnyMapNode*> nodes_; // as many; null where the link is unused
    Number unused_ = none;           // the first link that is
    bool isInOrder_ = true;
};

} // namespace cppmicroservices::detail

#endif
