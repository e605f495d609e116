// The search structure of ordered maps: their nodes in key order, in blocks short enough that an insertion
// moves few of them.
#ifndef CPPMICROSERVICES_SRC_VALUES_SORTEDINDEX_HPP
#define CPPMICROSERVICES_SRC_VALUES_SORTEDINDEX_HPP

#include "cppmicroservices/AnyMap.h"

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
    void append(AnyMapNode* node);
    void split(std::size_t block);

    using Block = std::vector<AnyMapNode*>; // never empty

    std::vector<Block> blocks_;
};

} // namespace cppmicroservices::detail

#endif
