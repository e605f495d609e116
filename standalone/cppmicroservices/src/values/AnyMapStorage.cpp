// Hashed and ordered storage of map entries.
#include "AnyMapStorage.hpp"

#include "KeyText.hpp"

#include <algorithm>

namespace cppmicroservices::detail {

namespace {

// Up to this many entries, comparing hashes one after the other is faster than a table.
constexpr std::size_t kLargestWithoutBuckets = 8;

} // namespace

std::size_t any_map_cihash::operator()(std::string const& key) const {
    return hashFolded(key);
}

bool any_map_ciequal::operator()(std::string const& l, std::string const& r) const {
    return equalFolded(l, r);
}

void NodePool::reserve(std::size_t count) {
    if (count > static_cast<std::size_t>(unusedEnd_ - unused_)) {
        chunks_.push_back(std::unique_ptr<Slot[]>(new Slot[count]));
        unused_ = chunks_.back().get();
        unusedEnd_ = unused_ + count;
    }
}

void* NodePool::take() {
    if (free_) {
        return std::exchange(free_, free_->next);
    }
    if (unused_ == unusedEnd_) {
        nextCount_ = std::min(2 * nextCount_, kLargestCount);
        reserve(nextCount_);
    }
    return unused_++;
}

void NodePool::giveBack(void* memory) noexcept {
    free_ = ::new (memory) FreeSlot{free_};
}

// Delegates, so that the destructor frees what was copied if a copy throws.
AnyMapStorage::AnyMapStorage(AnyMapStorage const& other)
    : AnyMapStorage(other.kind_) {
    reserve(other.size_);
    for (AnyMapNode const* original = other.first_; original; original = original->next) {
        OwnedNode node = makeNode(original->entry);
        if (isOrdered()) {
            keepOrdered(sorted_.end(), nullptr, std::move(node));
        } else {
            keepHashed(original->hash, std::move(node));
        }
    }
}

AnyMapStorage::~AnyMapStorage() {
    for (AnyMapNode* node = first_; node;) {
        std::exchange(node, node->next)->~AnyMapNode();
    }
}

AnyMapNode* AnyMapStorage::find(std::string const& key) const {
    if (isOrdered()) {
        AnyMapNode* const node = sorted_.nodeAt(sorted_.lowerBound(key));
        return node && node->entry.first == key ? node : nullptr;
    }
    return findHashed(key, hashFolded(key));
}

bool AnyMapStorage::erase(std::string const& key) {
    AnyMapNode* node = nullptr;
    if (isOrdered()) {
        auto const position = sorted_.lowerBound(key);
        node = sorted_.nodeAt(position);
        if (!node || node->entry.first != key) {
            return false;
        }
        sorted_.erase(position);
    } else {
        node = findHashed(key, hashFolded(key));
        if (!node) {
            return false;
        }
        removeFromBucket(node);
    }
    unlink(node);
    destroyNode(node);
    return true;
}

void AnyMapStorage::reserve(std::size_t count) {
    pool_.reserve(count - std::min(count, size_));
    if (!isOrdered() && count > kLargestWithoutBuckets) {
        growBuckets(count);
    }
}

bool AnyMapStorage::sameKey(std::string const& left, std::string const& right) const {
    return kind_ == any_map::UNORDERED_MAP ? left == right : equalFolded(left, right);
}

// Both hashed kinds hash without regard to case; they differ in which keys are the same.
AnyMapNode* AnyMapStorage::findHashed(std::string const& key, std::size_t hash) const {
    bool const useBuckets = !buckets_.empty();
    AnyMapNode* node = useBuckets ? buckets_[hash & (buckets_.size() - 1)] : first_;
    while (node && !(node->hash == hash && sameKey(node->entry.first, key))) {
        node = useBuckets ? node->nextInBucket : node->next;
    }
    return node;
}

void AnyMapStorage::destroyNode(AnyMapNode* node) noexcept {
    node->~AnyMapNode();
    pool_.giveBack(node);
}

AnyMapNode* AnyMapStorage::keepOrdered(SortedIndex::Position position, AnyMapNode* successor,
                                       OwnedNode node) {
    sorted_.insert(position, node.get());
    link(node.get(), successor);
    return node.release();
}

AnyMapNode* AnyMapStorage::keepHashed(std::size_t hash, OwnedNode node) {
    if (size_ >= std::max(kLargestWithoutBuckets, buckets_.size())) {
        growBuckets(2 * size_);
    }
    node->hash = hash;
    if (!buckets_.empty()) {
        node->nextInBucket = std::exchange(bucketOf(hash), node.get());
    }
    link(node.get(), nullptr);
    return node.release();
}

void AnyMapStorage::growBuckets(std::size_t entries) {
    std::size_t count = 2 * kLargestWithoutBuckets;
    while (count < entries) {
        count *= 2;
    }
    buckets_ = std::vector<AnyMapNode*>(count);
    for (AnyMapNode* node = first_; node; node = node->next) {
        node->nextInBucket = std::exchange(bucketOf(node->hash), node);
    }
}

void AnyMapStorage::removeFromBucket(AnyMapNode* node) noexcept {
    if (buckets_.empty()) {
        return;
    }
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
