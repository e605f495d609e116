// The search structure of large ordered maps: their nodes in key order, in blocks short enough that an
// insertion moves few of them.
#ifndef CPPMICROSERVICES_SRC_VALUES_SORTEDINDEX_HPP
#define CPPMICROSERVICES_SRC_VALUES_SORTEDINDEX_HPP

#include "cppmicroservices/AnyMap.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace cppmicroservices::detail {

// Nodes in key order. Beside each stands a part of its key, behind what all keys here begin with, so that a
// search looks at few of the nodes.
class SortedNodes {
public:
    explicit SortedNodes(std::size_t capacity = 0);

    // The nodes of `others` from `first` on.
    SortedNodes(SortedNodes const& others, std::size_t first, std::size_t capacity);

    std::size_t size() const noexcept { return nodes_.size(); }
    AnyMapNode* operator[](std::size_t slot) const noexcept { return nodes_[slot]; }
    AnyMapNode* back() const noexcept { return nodes_.back(); }

    // The first node whose key is not less than `key`; size() if there is none.
    std::size_t lowerBound(std::string const& key) const noexcept;

    // Whether the node at `slot`, the first one whose key is not less, has this key.
    bool hasKey(std::size_t slot, std::string const& key) const noexcept;

    // Makes the next insertion one that cannot throw.
    void makeRoom();

    // Puts the node in front of the one at `slot`.
    void insert(std::size_t slot, AnyMapNode* node);

    // Puts the node, which has the key of the one at `slot` or one that belongs there, in its place.
    void replace(std::size_t slot, AnyMapNode* node) noexcept;

    void erase(std::size_t slot) noexcept;

    // Removes the nodes from `size` on.
    void truncate(std::size_t size) noexcept;

    // Calls `visitor` with each node, in order. Nodes that come later may lie anywhere, so they and then
    // their keys are fetched from memory in the meantime.
    template <typename Visitor>
    void visit(Visitor const& visitor) const {
        constexpr std::size_t keyDistance = 8;
        constexpr std::size_t nodeDistance = 2 * keyDistance;
        for (std::size_t slot = 0; slot < size(); ++slot) {
            if (slot + nodeDistance < size()) {
                fetch(nodes_[slot + nodeDistance], sizeof(AnyMapNode));
            }
            if (slot + keyDistance < size()) {
                auto const& key = nodes_[slot + keyDistance]->entry.first;
                fetch(key.data(), key.size() + 1);
            }
            visitor(nodes_[slot]);
        }
    }

    // Puts the nodes of a chain that has the same keys in the place of those here. Returns what follows in
    // the chain.
    AnyMapNode* replaceAll(AnyMapNode* first) noexcept;

private:
    static void fetch(void const* memory, std::size_t size) noexcept {
        __builtin_prefetch(memory);
        __builtin_prefetch(static_cast<std::byte const*>(memory) + size - 1);
    }

    std::uint64_t prefixOf(std::string const& key) const noexcept;
    void skipCommonBytes() noexcept;
    void skipCommonBytesWith(std::size_t slot) noexcept;

    std::vector<std::uint64_t> prefixes_; // of the keys of `nodes_`
    std::vector<AnyMapNode*> nodes_;
    std::size_t commonBytes_ = 0; // at the beginning of all keys
};

class SortedIndex {
public:
    struct Position {
        std::size_t block = 0;
        std::size_t slot = 0;
    };

    // Where a key is, or where it belongs.
    struct Place {
        AnyMapNode* node = nullptr; // the first one whose key is not less; null: there is none
        bool isFound = false;       // its key is the one
        Position position;          // of that node, or of the end
    };

    // Adds a chain of nodes whose keys ascend and are greater than all keys here.
    void append(AnyMapNode* first);

    // The index of a chain of nodes whose keys are those of the nodes here.
    SortedIndex copyFor(AnyMapNode* first) const;

    // Calls `visitor` with each node, in order.
    template <typename Visitor>
    void visit(Visitor const& visitor) const {
        for (auto const& block : blocks_) {
            block.visit(visitor);
        }
    }

    Place placeOf(std::string const& key) const;

    // Behind the last node.
    Place end() const { return {nullptr, false, {blocks_.size(), 0}}; }

    // Puts the node in front of the one at `position`.
    void insert(Position position, AnyMapNode* node);

    void erase(Position position);

private:
    void appendOne(AnyMapNode* node);
    void split(std::size_t block);

    std::vector<SortedNodes> blocks_; // none is empty
    SortedNodes last_;                // the last node of each block
};

} // namespace cppmicroservices::detail

#endif
