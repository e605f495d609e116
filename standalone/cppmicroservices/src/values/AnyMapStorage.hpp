// The entries of an any_map: nodes in iteration order, and an index to find them by key.
#ifndef CPPMICROSERVICES_SRC_VALUES_ANYMAPSTORAGE_HPP
#define CPPMICROSERVICES_SRC_VALUES_ANYMAPSTORAGE_HPP

#include "SortedIndex.hpp"
#include "cppmicroservices/AnyMap.h"

#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace cppmicroservices::detail {

/// Memory for nodes: first that which it was given, then chunks from the heap, all given back as a whole.
class NodePool {
public:
    struct Slot {
        alignas(AnyMapNode) std::byte memory[sizeof(AnyMapNode)];
    };

    NodePool(Slot* first, std::size_t count)
        : unused_(first)
        , unusedEnd_(first + count)
        , nextCount_(count) {}
    NodePool(NodePool const&) = delete;
    NodePool& operator=(NodePool const&) = delete;

    /// Memory for one node.
    void* take();

    /// Takes back what take() gave; no node lives in it any more.
    void giveBack(void* memory) noexcept;

private:
    struct FreeSlot {
        FreeSlot* next;
    };
    static constexpr std::size_t kLargestCount = 1024;

    void addChunk(std::size_t count);

    Slot* unused_;
    Slot* unusedEnd_;
    FreeSlot* free_ = nullptr;
    std::size_t nextCount_;
    std::vector<std::unique_ptr<Slot[]>> chunks_;
};

/// Nodes never move, so that references to entries stay valid. A map of a few entries has no index: walking
/// along them is faster, and spares it all memory but this object.
class AnyMapStorage {
public:
    static constexpr std::size_t kUsualCapacity = 4;

    /// Room for `capacity` entries lies in the same block of memory as the object.
    static std::unique_ptr<AnyMapStorage> create(any_map::map_type kind,
                                                 std::size_t capacity = kUsualCapacity);
    static std::unique_ptr<AnyMapStorage> copy(AnyMapStorage const& other);

    AnyMapStorage(AnyMapStorage const&) = delete;
    AnyMapStorage& operator=(AnyMapStorage const&) = delete;
    ~AnyMapStorage();
    static void operator delete(void* memory) noexcept { ::operator delete(memory); }

    AnyMapNode* first() const noexcept { return first_; }
    std::size_t size() const noexcept { return size_; }

    /// Null if there is no such entry.
    AnyMapNode* find(std::string const& key) const;

    /// The entry with this key, and whether it is new; a new one is constructed from `args`, which begin with
    /// the key.
    template <typename... Args>
    std::pair<AnyMapNode*, bool> tryInsert(std::string const& key, Args&&... args);

    /// Adds an entry whose key is not here and, in an ordered map, greater than all that are.
    template <typename... Args>
    void append(Args&&... args);

    bool erase(std::string const& key);

private:
    struct Capacity {
        std::size_t entries;
    };
    static void* operator new(std::size_t size, Capacity capacity) {
        return ::operator new(size + capacity.entries * sizeof(NodePool::Slot));
    }
    static void operator delete(void* memory, Capacity) noexcept { ::operator delete(memory); }

    /// The object must have been allocated with the same capacity.
    AnyMapStorage(any_map::map_type kind, Capacity capacity);

    /// Where the entry with some key is, or belongs. Only what the kind of the map needs is set.
    struct Place {
        AnyMapNode* found = nullptr;
        AnyMapNode* successor = nullptr;      // ordered: the first node with a greater key
        SortedIndex::Position position{0, 0}; // ordered, with index: of what was found, else of the successor
        std::size_t hash = 0;                 // hashed, with index
    };

    /// Gives a node that was made but not yet kept back to the pool.
    struct NodeDeleter {
        AnyMapStorage* storage;
        void operator()(AnyMapNode* node) const noexcept { storage->destroyNode(node); }
    };
    using OwnedNode = std::unique_ptr<AnyMapNode, NodeDeleter>;

    bool isOrdered() const noexcept { return kind_ == any_map::ORDERED_MAP; }
    bool isSameKey(std::string const& left, std::string const& right) const;

    Place placeOf(std::string const& key) const;
    Place placeInOrder(std::string const& key) const;
    Place placeInTable(std::string const& key) const;
    std::size_t hashIfIndexed(std::string const& key) const;
    AnyMapNode* findHashed(std::string const& key, std::size_t hash) const;

    template <typename... Args>
    OwnedNode makeNode(Args&&... args);
    void destroyNode(AnyMapNode* node) noexcept;

    AnyMapNode* keepOrdered(Place const& place, OwnedNode node);
    AnyMapNode* keepHashed(std::size_t hash, OwnedNode node);

    AnyMapNode*& bucketOf(std::size_t hash) noexcept { return buckets_[hash & (buckets_.size() - 1)]; }
    void growBuckets(std::size_t entries);
    void removeFromBucket(AnyMapNode* node) noexcept;

    /// Puts the node in front of `successor` in the iteration order, at the end if that is null.
    void link(AnyMapNode* node, AnyMapNode* successor) noexcept;
    void unlink(AnyMapNode* node) noexcept;

    any_map::map_type const kind_;
    std::size_t size_ = 0;
    AnyMapNode* first_ = nullptr;
    AnyMapNode* last_ = nullptr;
    std::vector<AnyMapNode*> buckets_; // index of hashed maps; a power of two
    SortedIndex sorted_;               // index of ordered maps
    NodePool pool_;
};

template <typename... Args>
AnyMapStorage::OwnedNode AnyMapStorage::makeNode(Args&&... args) {
    void* const memory = pool_.take();
    try {
        return OwnedNode(::new (memory) AnyMapNode(std::forward<Args>(args)...), NodeDeleter{this});
    } catch (...) {
        pool_.giveBack(memory);
        throw;
    }
}

template <typename... Args>
std::pair<AnyMapNode*, bool> AnyMapStorage::tryInsert(std::string const& key, Args&&... args) {
    Place const place = placeOf(key);
    if (place.found) {
        return {place.found, false};
    }
    OwnedNode node = makeNode(std::forward<Args>(args)...);
    return {isOrdered() ? keepOrdered(place, std::move(node)) : keepHashed(place.hash, std::move(node)),
            true};
}

template <typename... Args>
void AnyMapStorage::append(Args&&... args) {
    OwnedNode node = makeNode(std::forward<Args>(args)...);
    if (isOrdered()) {
        Place behindAll;
        behindAll.position = sorted_.end();
        keepOrdered(behindAll, std::move(node));
    } else {
        auto const hash = hashIfIndexed(node->entry.first);
        keepHashed(hash, std::move(node));
    }
}

} // namespace cppmicroservices::detail

#endif
