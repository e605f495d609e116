// A hash table with chains of numbers.
#include "HashedIndex.hpp"

#include <stdexcept>
#include <utility>

namespace cppmicroservices::detail {

namespace {

constexpr std::size_t smallestTable = 32;

// By how much a full table grows.
constexpr std::size_t growth = 4;

} // namespace

void HashedIndex::reserve(std::size_t count) {
    std::size_t size = smallestTable;
    while (size < count) {
        size *= 2;
    }
    growTo(size);
}

void HashedIndex::grow() {
    growTo(heads_.empty() ? smallestTable : growth * heads_.size());
}

void HashedIndex::growTo(std::size_t size) {
    if (size > none) {
        throw std::length_error("a map has too many entries");
    }
    std::vector<Number> heads(size, none);
    links_.resize(size);
    nodes_.resize(size);
    auto const used = static_cast<Number>(std::exchange(heads_, std::move(heads)).size());
    for (Number number = 0; number < used; ++number) {
        prepend(number);
    }
    unused_ = used;
    for (Number number = used; number + 1 < size; ++number) {
        links_[number].next = number + 1;
    }
}

void HashedIndex::erase(std::size_t hash, AnyMapNode const* node) noexcept {
    Number* place = &heads_[headOf(hash)];
    while (nodes_[*place] != node) {
        place = &links_[*place].next;
    }
    Number const number = *place;
    *place = links_[number].next;
    links_[number] = {0, std::exchange(unused_, number)};
    nodes_[number] = nullptr;
    isInOrder_ = false;
}

HashedIndex HashedIndex::copyFor(AnyMapNode* first) const {
    HashedIndex copy(*this);
    auto replaced = copy.nodes_.begin();
    for (AnyMapNode* node = first; node; node = node->next) {
        *replaced++ = node;
    }
    return copy;
}

} // namespace cppmicroservices::detail
