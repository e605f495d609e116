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
    links_.reserve(size);
    heads_ = std::vector<Number>(size, none);
    for (std::size_t number = 0; number < links_.size(); ++number) {
        prepend(static_cast<Number>(number));
    }
}

void HashedIndex::insert(std::size_t hash, AnyMapNode* node) {
    if (unused_ != none) {
        Number const number = unused_;
        unused_ = links_[number].next;
        links_[number] = {shortened(hash), none, node};
        prepend(number);
        return;
    }
    if (links_.size() == none) {
        throw std::length_error("a map has too many entries");
    }
    if (links_.size() == heads_.size()) {
        reserve(growth * links_.size());
    }
    Number& head = heads_[headOf(hash)];
    links_.emplace_back(shortened(hash), head, node);
    head = static_cast<Number>(links_.size() - 1);
}

void HashedIndex::erase(std::size_t hash, AnyMapNode const* node) noexcept {
    Number* place = &heads_[headOf(hash)];
    while (links_[*place].node != node) {
        place = &links_[*place].next;
    }
    Number const number = *place;
    *place = links_[number].next;
    links_[number] = {0, std::exchange(unused_, number), nullptr};
    isInOrder_ = false;
}

HashedIndex HashedIndex::copyFor(AnyMapNode* first) const {
    HashedIndex copy(*this);
    AnyMapNode* node = first;
    for (auto& link : copy.links_) {
        link.node = std::exchange(node, node->next);
    }
    return copy;
}

void HashedIndex::prepend(Number number) noexcept {
    links_[number].next = std::exchange(heads_[headOf(links_[number].hash)], number);
}

} // namespace cppmicroservices::detail
