// The search structure of large ordered maps: their nodes in key order, in blocks short enough that an
// insertion moves few of them.
#ifndef CPPMICROSERVICES_SRC_VALUES_SORTEDINDEX_HPP
#define CPPMICROSERVICES_SRC_VALUES_SORTEDINDEX_HPP

#include "cppmicroservices/AnyMap.h"

#include <cstdint>
#include <string>
#include <vector>

namespace cppmicroservices::detail {

class SortedIndex {
public:
    /// A place between nodes: where a key is, or where it belongs.
    struct Position {
        std::size_t block;
        std::size_t slot;
    };

    bool empty() const { return blocks_.empty(); }

    /// Adds a chain of nodes whose keys ascend and are greater than all keys here.
    void append(AnyMapNode* first);

    /// The index of a chain of nodes whose keys are those of the nodes here.
    SortedIndex copyFor(AnyMapNode* first) const;

    /// The first node whose key is not less than `key`.
    Position lowerBound(std::string const& key) const;

    /// Behind the last node.
    Position end() const { return {blocks_.size(), 0}; }

    /// Null at the end.
    AnyMapNode* nodeAt(Position position) const;

    /// Puts the node in front of the one at `position`.
    void insert(Position position, AnyMapNode* node);

    void erase(Position position);

private:
    // The beginning of the key stands beside the node, so that most comparisons need not look at the node.
    struct Slot {
        explicit Slot(AnyMapNode* node);
        bool isLess(std::uint64_t prefix, std::string const& key) const;

        std::uint64_t prefix;
        AnyMapNode* node;
    };
    using Block = std::vector<Slot>; // never empty

    void appendOne(AnyMapNode* node);
    void split(std::size_t block);

    std::vector<Block> blocks_;
    std::vector<Slot> last_; // the last slot of each block
};

} // namespace cppmicroservices::detail

#endif
