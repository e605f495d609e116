// Hashed and ordered storage of map entries.
#include "AnyMapStorage.hpp"

#include "KeyText.hpp"

#include <algorithm>

namespace cppmicroservices::detail {

namespace {

// Up to this many entries, comparing keys one after the other is faster than an index.
constexpr std::size_t kLargestWithoutIndex = 8;

// By how much a full table grows.
constexpr std::size_t kGrowth = 4;

} // namespace

std::size_t any_map_cihash::operator()(std::string const& key) const {
    return hashFolded(key);
}

bool any_map_ciequal::operator()(std::string const& l, std::string const& r) const {
    return equalFolded(l, r);
}

void NodePool::addChunk(std::size_t count) {
    chunks_.push_back(std::unique_ptr<Slot[]>(new Slot[count]));
    unused_ = chunks_.back().get();
    unusedEnd_ = unused_ + count;
}

void* NodePool::take() {
    if (free_) {
        return std::exchange(free_, free_->next);
    }
    if (unused_ == unusedEnd_) {
        nextCount_ = std::min(2 * nextCount_, kLargestCount);
        addChunk(nextCount_);
    }
    return unused_++;
}

void NodePool::giveBack(void* memory) noexcept {
    free_ = ::new (memory) FreeSlot{free_};
}

AnyMapStorage::AnyMapStorage(any_map::map_type kind, Capacity capacity)
    : kind_(kind)
    , pool_(reinterpret_cast<NodePool::Slot*>(this + 1), capacity.entries) {
    if (!isOrdered() && capacity.entries > kLargestWithoutIndex) {
        growBuckets(capacity.entries);
    }
}

std::unique_ptr<AnyMapStorage> AnyMapStorage::create(any_map::map_type kind, std::size_t capacity) {
    static_assert(alignof(AnyMapStorage) % alignof(NodePool::Slot) == 0);
    Capacity const room{std::max(capacity, std::size_t{1})};
    return std::unique_ptr<AnyMapStorage>(new (room) AnyMapStorage(kind, room));
}

std::unique_ptr<AnyMapStorage> AnyMapStorage::copy(AnyMapStorage const& other) {
    auto copy = create(other.kind_, other.size_);
    for (AnyMapNode const* original = other.first_; original; original = original->next) {
        OwnedNode node = copy->makeNode(original->entry);
        if (copy->isOrdered()) {
            copy->link(node.release(), nullptr);
        } else {
            copy->keepHashed(original->hash, std::move(node));
        }
    }
    if (copy->isOrdered() && copy->size_ > kLargestWithoutIndex) {
        copy->sorted_.append(copy->first_);
    }
    return copy;
}

AnyMapStorage::~AnyMapStorage() {
    for (AnyMapNode* node = first_; node;) {
        std::exchange(node, node->next)->~AnyMapNode();
    }
}

AnyMapNode* AnyMapStorage::find(std::string const& key) const {
    return isOrdered() ? placeInOrder(key).found : findHashed(key, hashIfIndexed(key));
}

bool AnyMapStorage::erase(std::string const& key) {
    Place const place = placeOf(key);
    if (!place.found) {
        return false;
    }
    if (!sorted_.empty()) {
        sorted_.erase(place.position);
    }
    if (!buckets_.empty()) {
        removeFromBucket(place.found);
    }
    unlink(place.found);
    destroyNode(place.found);
    return true;
}

bool AnyMapStorage::isSameKey(std::string const& left, std::string const& right) const {
    return kind_ == any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS ? equalFolded(left, right) : left == right;
}

AnyMapStorage::Place AnyMapStorage::placeOf(std::string const& key) const {
    return isOrdered() ? placeInOrder(key) : placeInTable(key);
}

AnyMapStorage::Place AnyMapStorage::placeInOrder(std::string const& key) const {
    Place place;
    if (sorted_.empty()) {
        place.successor = first_;
        while (place.successor && place.successor->entry.first < key) {
            place.successor = place.successor->next;
        }
    } else {
        place.position = sorted_.lowerBound(key);
        place.successor = sorted_.nodeAt(place.position);
    }
    if (place.successor && place.successor->entry.first == key) {
        place.found = place.successor;
    }
    return place;
}

AnyMapStorage::Place AnyMapStorage::placeInTable(std::string const& key) const {
    Place place;
    place.hash = hashIfIndexed(key);
    place.found = findHashed(key, place.hash);
    return place;
}

// Both hashed kinds hash without regard to case; they differ in which keys are the same.
std::size_t AnyMapStorage::hashIfIndexed(std::string const& key) const {
    return buckets_.empty() ? 0 : hashFolded(key);
}

AnyMapNode* AnyMapStorage::findHashed(std::string const& key, std::size_t hash) const {
    if (buckets_.empty()) {
        AnyMapNode* node = first_;
        while (node && !isSameKey(node->entry.first, key)) {
            node = node->next;
        }
        return node;
    }
    AnyMapNode* node = buckets_[hash & (buckets_.size() - 1)];
    while (node && !(node->hash == hash && isSameKey(node->entry.first, key))) {
        node = node->nextInBucket;
    }
    return node;
}

void AnyMapStorage::destroyNode(AnyMapNode* node) noexcept {
    node->~AnyMapNode();
    pool_.giveBack(node);
}

AnyMapNode* AnyMapStorage::keepOrdered(Place const& place, OwnedNode node) {
    if (!sorted_.empty()) {
        sorted_.insert(place.position, node.get());
    } else if (size_ == kLargestWithoutIndex) {
        SortedIndex index;
        index.append(first_);
        index.insert(index.lowerBound(node->entry.first), node.get());
        sorted_ = std::move(index);
    }
    link(node.get(), place.successor);
    return node.release();
}

AnyMapNode* AnyMapStorage::keepHashed(std::size_t hash, OwnedNode node) {
    bool const isFirstIndexed = buckets_.empty() && size_ == kLargestWithoutIndex;
    if (isFirstIndexed || (!buckets_.empty() && size_ >= buckets_.size())) {
        growBuckets(kGrowth * size_);
    }
    if (!buckets_.empty()) {
        node->hash = isFirstIndexed ? hashFolded(node->entry.first) : hash;
        node->nextInBucket = std::exchange(bucketOf(node->hash), node.get());
    }
    link(node.get(), nullptr);
    return node.release();
}

void AnyMapStorage::growBuckets(std::size_t entries) {
    std::size_t count = 2 * kLargestWithoutIndex;
    while (count < entries) {
        count *= 2;
    }
    bool const areHashed = !buckets_.empty();
    buckets_ = std::vector<AnyMapNode*>(count);
    for (AnyMapNode* node = first_; node; node = node->next) {
        if (!areHashed) {
            node->hash = hashFolded(node->entry.first);
        }
        node->nextInBucket = std::exchange(bucketOf(node->hash), node);
    }
}

void AnyMapStorage::removeFromBucket(AnyMapNode* node) noexcept {
    AnyMapNode** place = &bucketOf(node->hash);
    while (*place != node) {
        place = &(*place)->nextInBucket;
    }
    *place = node->nextInBucket;
}

void AnyMapStorage::link(AnyMapNode* node, AnyMapNode* successor) noexcept {
    node->next = successor;
    node->previous = successor ? successor->previous : last_;
    (node->previous ? node->previous->next : first_) = node;
    (successor ? successor->previous : last_) = node;
    ++size_;
}

void AnyMapStorage::unlink(AnyMapNode* node) noexcept {
    (node->previous ? node->previous->next : first_) = node->next;
    (node->next ? node->next->previous : last_) = node->previous;
    --size_;
}

} // namespace cppmicroservices::detail
