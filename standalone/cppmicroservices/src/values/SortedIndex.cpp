// Blocks of sorted nodes; a block that is full is split in two.
#include "SortedIndex.hpp"

#include "KeyText.hpp"

#include <algorithm>
#include <utility>

namespace cppmicroservices::detail {

namespace {

constexpr std::size_t blockCapacity = 128;

std::ptrdiff_t offset(std::size_t index) {
    return static_cast<std::ptrdiff_t>(index);
}

// Makes the next insertion one that cannot throw.
template <typename T>
void growIfFull(std::vector<T>& vector) {
    if (vector.size() == vector.capacity()) {
        vector.reserve(2 * vector.size() + 1);
    }
}

} // namespace

SortedIndex::Slot::Slot(AnyMapNode* newNode)
    : prefix(orderingPrefix(newNode->entry.first))
    , node(newNode) {}

bool SortedIndex::Slot::isLess(std::uint64_t otherPrefix, std::string const& key) const {
    return prefix != otherPrefix ? prefix < otherPrefix : node->entry.first < key;
}

void SortedIndex::append(AnyMapNode* first) {
    for (AnyMapNode* node = first; node; node = node->next) {
        appendOne(node);
    }
}

SortedIndex SortedIndex::copyFor(AnyMapNode* first) const {
    SortedIndex copy(*this);
    AnyMapNode* node = first;
    for (std::size_t block = 0; block < copy.blocks_.size(); ++block) {
        for (auto& slot : copy.blocks_[block]) {
            slot.node = std::exchange(node, node->next);
        }
        copy.last_[block] = copy.blocks_[block].back();
    }
    return copy;
}

SortedIndex::Position SortedIndex::lowerBound(std::string const& key) const {
    auto const isLess = [&key, prefix = orderingPrefix(key)](Slot const& slot) {
        return slot.isLess(prefix, key);
    };
    auto const last = std::partition_point(last_.begin(), last_.end(), isLess);
    if (last == last_.end()) {
        return end();
    }
    auto const block = static_cast<std::size_t>(last - last_.begin());
    auto const& slots = blocks_[block];
    auto const slot = std::partition_point(slots.begin(), slots.end() - 1, isLess);
    return {block, static_cast<std::size_t>(slot - slots.begin())};
}

AnyMapNode* SortedIndex::nodeAt(Position position) const {
    return position.block < blocks_.size() ? blocks_[position.block][position.slot].node : nullptr;
}

void SortedIndex::insert(Position position, AnyMapNode* node) {
    if (position.block == blocks_.size()) {
        appendOne(node);
        return;
    }
    if (blocks_[position.block].size() == blockCapacity) {
        split(position.block);
        if (position.slot >= blockCapacity / 2) {
            position = {position.block + 1, position.slot - blockCapacity / 2};
        }
    }
    // In front of another node, hence never the last of its block.
    Block& block = blocks_[position.block];
    block.insert(block.begin() + offset(position.slot), Slot(node));
}

// Whatever throws does so before anything changes.
void SortedIndex::split(std::size_t block) {
    constexpr std::size_t half = blockCapacity / 2;
    Block upper;
    upper.reserve(blockCapacity);
    upper.assign(blocks_[block].begin() + offset(half), blocks_[block].end());
    growIfFull(blocks_);
    last_.insert(last_.begin() + offset(block), blocks_[block][half - 1]);
    blocks_.insert(blocks_.begin() + offset(block) + 1, std::move(upper));
    blocks_[block].erase(blocks_[block].begin() + offset(half), blocks_[block].end());
}

// Starts a new block rather than splitting, so that maps built in key order have full blocks.
void SortedIndex::appendOne(AnyMapNode* node) {
    if (blocks_.empty() || blocks_.back().size() == blockCapacity) {
        Block block;
        block.reserve(blockCapacity);
        block.emplace_back(node);
        growIfFull(last_);
        blocks_.push_back(std::move(block));
        last_.emplace_back(node);
    } else {
        blocks_.back().emplace_back(node);
        last_.back() = blocks_.back().back();
    }
}

void SortedIndex::erase(Position position) {
    Block& block = blocks_[position.block];
    block.erase(block.begin() + offset(position.slot));
    if (block.empty()) {
        blocks_.erase(blocks_.begin() + offset(position.block));
        last_.erase(last_.begin() + offset(position.block));
    } else {
        last_[position.block] = block.back();
    }
}

} // namespace cppmicroservices::detail
