// Blocks of sorted nodes; a block that is full is split in two.
#include "SortedIndex.hpp"

#include <algorithm>
#include <utility>

namespace cppmicroservices::detail {

namespace {

constexpr std::size_t kBlockCapacity = 128;

std::ptrdiff_t offset(std::size_t index) {
    return static_cast<std::ptrdiff_t>(index);
}

} // namespace

SortedIndex::Position SortedIndex::lowerBound(std::string const& key) const {
    auto const block = std::partition_point(blocks_.begin(), blocks_.end(), [&](Block const& candidate) {
        return candidate.back()->entry.first < key;
    });
    if (block == blocks_.end()) {
        return end();
    }
    auto const node = std::partition_point(block->begin(), block->end(), [&](AnyMapNode const* candidate) {
        return candidate->entry.first < key;
    });
    return {static_cast<std::size_t>(block - blocks_.begin()),
            static_cast<std::size_t>(node - block->begin())};
}

AnyMapNode* SortedIndex::nodeAt(Position position) const {
    return position.block < blocks_.size() ? blocks_[position.block][position.slot] : nullptr;
}

void SortedIndex::insert(Position position, AnyMapNode* node) {
    if (position.block == blocks_.size()) {
        append(node);
        return;
    }
    if (blocks_[position.block].size() == kBlockCapacity) {
        split(position.block);
        if (position.slot > kBlockCapacity / 2) {
            position = {position.block + 1, position.slot - kBlockCapacity / 2};
        }
    }
    Block& block = blocks_[position.block];
    block.insert(block.begin() + offset(position.slot), node);
}

void SortedIndex::split(std::size_t block) {
    constexpr std::size_t half = kBlockCapacity / 2;
    Block upper;
    upper.reserve(kBlockCapacity);
    upper.assign(blocks_[block].begin() + offset(half), blocks_[block].end());
    blocks_.insert(blocks_.begin() + offset(block) + 1, std::move(upper));
    blocks_[block].resize(half);
}

// Starts a new block rather than splitting, so that maps built in key order have full blocks.
void SortedIndex::append(AnyMapNode* node) {
    if (blocks_.empty() || blocks_.back().size() == kBlockCapacity) {
        blocks_.emplace_back();
    }
    blocks_.back().push_back(node);
}

void SortedIndex::erase(Position position) {
    Block& block = blocks_[position.block];
    block.erase(block.begin() + offset(position.slot));
    if (block.empty()) {
        blocks_.erase(blocks_.begin() + offset(position.block));
    }
}

} // namespace cppmicroservices::detail
