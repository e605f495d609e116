// Blocks of sorted nodes; a block that is full is split in two.
#include "SortedIndex.hpp"

#include "KeyText.hpp"
#include "quickBlock.hpp"

#include <algorithm>
#include <utility>

namespace cppmicroservices::detail {

namespace {

constexpr std::size_t blockCapacity = largestQuickBlock / sizeof(AnyMapNode*);

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

std::string const& keyOf(AnyMapNode const* node) {
    return node->entry.first;
}

std::size_t countCommonBytes(std::string const& left, std::string const& right) {
    auto const shorter = std::min(left.size(), right.size());
    auto const end = left.begin() + offset(shorter);
    return static_cast<std::size_t>(std::mismatch(left.begin(), end, right.begin()).first - left.begin());
}

} // namespace

SortedNodes::SortedNodes(std::size_t capacity) {
    prefixes_.reserve(capacity);
    nodes_.reserve(capacity);
}

SortedNodes::SortedNodes(SortedNodes const& others, std::size_t first, std::size_t capacity)
    : SortedNodes(capacity) {
    prefixes_.assign(others.prefixes_.begin() + offset(first), others.prefixes_.end());
    nodes_.assign(others.nodes_.begin() + offset(first), others.nodes_.end());
    commonBytes_ = others.commonBytes_;
    skipCommonBytes();
}

// Looks at the first node for the common bytes, rather than at one next to the place: that one is in the
// cache more often.
std::size_t SortedNodes::lowerBound(std::string const& key) const noexcept {
    if (commonBytes_ != 0) {
        auto const order = key.compare(0, commonBytes_, keyOf(nodes_.front()), 0, commonBytes_);
        if (order != 0) {
            return order < 0 ? 0 : size();
        }
    }
    auto const prefix = prefixOf(key);
    auto const isLess = [&](std::uint64_t const& other) {
        auto const slot = static_cast<std::size_t>(&other - prefixes_.data());
        return other != prefix ? other < prefix : keyOf(nodes_[slot]) < key;
    };
    return static_cast<std::size_t>(std::partition_point(prefixes_.begin(), prefixes_.end(), isLess) -
                                    prefixes_.begin());
}

bool SortedNodes::hasKey(std::size_t slot, std::string const& key) const noexcept {
    return prefixes_[slot] == prefixOf(key) && keyOf(nodes_[slot]) == key;
}

void SortedNodes::makeRoom() {
    growIfFull(prefixes_);
    growIfFull(nodes_);
}

void SortedNodes::insert(std::size_t slot, AnyMapNode* node) {
    makeRoom();
    prefixes_.insert(prefixes_.begin() + offset(slot), prefixOf(keyOf(node)));
    nodes_.insert(nodes_.begin() + offset(slot), node);
    skipCommonBytesWith(slot);
}

void SortedNodes::replace(std::size_t slot, AnyMapNode* node) noexcept {
    prefixes_[slot] = prefixOf(keyOf(node));
    nodes_[slot] = node;
    skipCommonBytesWith(slot);
}

void SortedNodes::erase(std::size_t slot) noexcept {
    prefixes_.erase(prefixes_.begin() + offset(slot));
    nodes_.erase(nodes_.begin() + offset(slot));
    if (nodes_.empty()) {
        commonBytes_ = 0;
    }
}

void SortedNodes::truncate(std::size_t size) noexcept {
    prefixes_.erase(prefixes_.begin() + offset(size), prefixes_.end());
    nodes_.erase(nodes_.begin() + offset(size), nodes_.end());
    skipCommonBytes();
}

AnyMapNode* SortedNodes::replaceAll(AnyMapNode* first) noexcept {
    AnyMapNode* node = first;
    for (auto& replaced : nodes_) {
        replaced = std::exchange(node, node->next);
    }
    return node;
}

std::uint64_t SortedNodes::prefixOf(std::string const& key) const noexcept {
    return orderingPrefix(key, commonBytes_);
}

// Keys in order have in common what the first and the last one have.
void SortedNodes::skipCommonBytes() noexcept {
    auto const common = countCommonBytes(keyOf(nodes_.front()), keyOf(back()));
    if (common != commonBytes_) {
        commonBytes_ = common;
        for (std::size_t slot = 0; slot < size(); ++slot) {
            prefixes_[slot] = prefixOf(keyOf(nodes_[slot]));
        }
    }
}

// A key between two others begins as they do.
void SortedNodes::skipCommonBytesWith(std::size_t slot) noexcept {
    if (slot == 0 || slot == size() - 1) {
        skipCommonBytes();
    }
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
        node = copy.blocks_[block].replaceAll(node);
        copy.last_.replace(block, copy.blocks_[block].back());
    }
    return copy;
}

SortedIndex::Place SortedIndex::placeOf(std::string const& key) const {
    auto const block = blocks_.size() == 1 ? 0 : last_.lowerBound(key);
    if (block == blocks_.size()) {
        return end();
    }
    auto const& nodes = blocks_[block];
    auto const slot = nodes.lowerBound(key);
    return slot < nodes.size() ? Place{nodes[slot], nodes.hasKey(slot, key), {block, slot}} : end();
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
    blocks_[position.block].insert(position.slot, node); // in front of another, hence never the last one
}

// Whatever throws does so before anything changes.
void SortedIndex::split(std::size_t block) {
    constexpr std::size_t half = blockCapacity / 2;
    SortedNodes upper(blocks_[block], half, blockCapacity);
    growIfFull(blocks_);
    last_.makeRoom();
    last_.insert(block, blocks_[block][half - 1]);
    blocks_.insert(blocks_.begin() + offset(block) + 1, std::move(upper));
    blocks_[block].truncate(half);
}

// Starts a new block rather than splitting, so that maps built in key order have full blocks.
void SortedIndex::appendOne(AnyMapNode* node) {
    if (blocks_.empty() || blocks_.back().size() == blockCapacity) {
        SortedNodes block(blockCapacity);
        block.insert(0, node);
        last_.makeRoom();
        blocks_.push_back(std::move(block));
        last_.insert(last_.size(), node);
    } else {
        blocks_.back().insert(blocks_.back().size(), node);
        last_.replace(last_.size() - 1, node);
    }
}

void SortedIndex::erase(Position position) {
    SortedNodes& block = blocks_[position.block];
    block.erase(position.slot);
    if (block.size() == 0) {
        blocks_.erase(blocks_.begin() + offset(position.block));
        last_.erase(position.block);
    } else {
        last_.replace(position.block, block.back());
    }
}

} // namespace cppmicroservices::detail
