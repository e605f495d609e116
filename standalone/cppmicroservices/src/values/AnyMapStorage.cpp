// Hashed and ordered storage of map entries.
#include "AnyMapStorage.hpp"

#include "KeyText.hpp"

#include <algorithm>

namespace cppmicroservices::detail {

std::size_t any_map_cihash::operator()(std::string const& key) const {
    return hashFolded(key);
}

bool any_map_ciequal::operator()(std::string const& l, std::string const& r) const {
    return equalFolded(l, r);
}

NodePool::~NodePool() {
    while (chunks_) {
        ::operator delete(std::exchange(chunks_, chunks_->next));
    }
}

// Few for the nodes of a small map, which otherwise take longer to allocate; many for those of a large one,
// which lie closer together then.
std::size_t NodePool::slotsAtOnce(std::size_t wanted, std::size_t headerSize) noexcept {
    constexpr std::size_t ofLargeMap = 1024;
    auto const most = wanted <= largestInCache ? (largestQuickBlock - headerSize) / sizeof(Slot) : ofLargeMap;
    return std::clamp(wanted, std::size_t{1}, most);
}

// As many slots as there are nodes, so that small maps take little memory and large ones few allocations.
void NodePool::addChunk(std::size_t used) {
    auto const count = slotsAtOnce(used, sizeof(Chunk));
    void* const memory = ::operator new(sizeof(Chunk) + count * sizeof(Slot));
    chunks_ = ::new (memory) Chunk{chunks_};
    free_ = ::new (static_cast<void*>(chunks_ + 1)) FreeSlots{nullptr, count};
}

AnyMapStorage::AnyMapStorage(any_map::map_type kind, Capacity capacity) noexcept
    : kind_(kind)
    , pool_(this + 1, capacity.slots) {}

std::unique_ptr<AnyMapStorage> AnyMapStorage::create(any_map::map_type kind, std::size_t capacity) {
    auto storage = allocate(kind, capacity);
    if (!storage->isOrdered() && capacity > largestWithoutIndex) {
        storage->index_ = std::make_unique<Index>();
        storage->index_->hashed.reserve(capacity);
    }
    return storage;
}

std::unique_ptr<AnyMapStorage> AnyMapStorage::copy(AnyMapStorage const& other) {
    auto copy = allocate(other.kind_, other.size_);
    other.visit([&copy](AnyMapNode const* original) {
        copy->link(copy->makeNode(original->entry).release(), nullptr);
    });
    if (copy->size_ > largestWithoutIndex) {
        copy->index_ = copy->makeIndexLike(*other.index_);
    }
    return copy;
}

std::unique_ptr<AnyMapStorage> AnyMapStorage::allocate(any_map::map_type kind, std::size_t capacity) {
    static_assert(alignof(AnyMapStorage) % alignof(NodePool::Slot) == 0);
    Capacity const room{NodePool::slotsAtOnce(capacity, sizeof(AnyMapStorage))};
    return std::unique_ptr<AnyMapStorage>(new (room) AnyMapStorage(kind, room));
}

AnyMapStorage::~AnyMapStorage() {
    visit([](AnyMapNode* node) { node->~AnyMapNode(); });
}

AnyMapNode* AnyMapStorage::find(std::string const& key) const {
    if (!isOrdered()) {
        return findHashed(key, hashIfIndexed(key));
    }
    Place const place = placeInOrder(key);
    return place.isFound ? place.node : nullptr;
}

bool AnyMapStorage::erase(std::string const& key) {
    return isOrdered() ? eraseOrdered(key) : eraseHashed(key);
}

bool AnyMapStorage::eraseOrdered(std::string const& key) {
    Place const place = placeInOrder(key);
    if (!place.isFound) {
        return false;
    }
    if (index_) {
        index_->sorted.erase(place.position);
    }
    unlink(place.node);
    destroyNode(place.node);
    return true;
}

bool AnyMapStorage::eraseHashed(std::string const& key) {
    auto const hash = hashIfIndexed(key);
    AnyMapNode* const node = findHashed(key, hash);
    if (!node) {
        return false;
    }
    if (index_) {
        index_->hashed.erase(hash, node);
    }
    unlink(node);
    destroyNode(node);
    return true;
}

AnyMapStorage::Place AnyMapStorage::placeInOrder(std::string const& key) const {
    if (index_) {
        return index_->sorted.placeOf(key);
    }
    auto const prefix = orderingPrefix(key, 0);
    for (AnyMapNode* node = first_; node; node = node->next) {
        auto const& other = node->entry.first;
        auto const otherPrefix = orderingPrefix(other, 0);
        if (otherPrefix > prefix) {
            return {node, false, {}};
        }
        if (otherPrefix == prefix) {
            if (auto const order = other.compare(key); order >= 0) {
                return {node, order == 0, {}};
            }
        }
    }
    return {};
}

void AnyMapStorage::destroyNode(AnyMapNode* node) noexcept {
    node->~AnyMapNode();
    pool_.giveBack(node);
}

std::unique_ptr<AnyMapStorage::Index> AnyMapStorage::makeIndex() const {
    auto index = std::make_unique<Index>();
    if (isOrdered()) {
        index->sorted.append(first_);
        return index;
    }
    for (AnyMapNode* node = first_; node; node = node->next) {
        index->hashed.insert(hashFolded(node->entry.first), node);
    }
    return index;
}

std::unique_ptr<AnyMapStorage::Index> AnyMapStorage::makeIndexLike(Index const& other) const {
    if (isOrdered()) {
        return std::make_unique<Index>(Index{{}, other.sorted.copyFor(first_)});
    }
    return other.hashed.isInOrder() ? std::make_unique<Index>(Index{other.hashed.copyFor(first_), {}})
                                    : makeIndex();
}

void AnyMapStorage::keepOrdered(Place const& place, AnyMapNode* node) {
    if (index_) {
        index_->sorted.insert(place.position, node);
    } else if (size_ == largestWithoutIndex) {
        index_ = makeIndex();
        index_->sorted.insert(index_->sorted.placeOf(node->entry.first).position, node);
    }
    link(node, place.node);
}

void AnyMapStorage::unlink(AnyMapNode* node) noexcept {
    (node->previous ? node->previous->next : first_) = node->next;
    (node->next ? node->next->previous : last_) = node->previous;
    --size_;
}

} // namespace cppmicroservices::detail
