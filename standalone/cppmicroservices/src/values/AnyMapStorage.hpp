// The entries of an any_map: nodes in iteration order, and an index to find them by key.
#ifndef CPPMICROSERVICES_SRC_VALUES_ANYMAPSTORAGE_HPP
#define CPPMICROSERVICES_SRC_VALUES_ANYMAPSTORAGE_HPP

#include "HashedIndex.hpp"
#include "KeyText.hpp"
#include "SortedIndex.hpp"
#include "cppmicroservices/AnyMap.h"
#include "quickBlock.hpp"

#include <array>
#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <tuple>
#include <utility>

namespace cppmicroservices::detail {

// Memory for nodes: first that which it was given, then chunks from the heap, all given back as a whole.
class NodePool {
public:
    struct Slot {
        alignas(AnyMapNode) std::array<std::byte, sizeof(AnyMapNode)> memory;
    };

    // How many slots are allocated at once, beside an object of `headerSize` bytes, for `wanted` nodes.
    static std::size_t slotsAtOnce(std::size_t wanted, std::size_t headerSize) noexcept;

    NodePool(void* slots, std::size_t count) noexcept
        : free_(::new (slots) FreeSlots{nullptr, count}) {}
    NodePool(NodePool const&) = delete;
    NodePool& operator=(NodePool const&) = delete;
    ~NodePool();

    // Memory for one more node than the `used` that there are.
    void* take(std::size_t used) {
        if (!free_) {
            addChunk(used);
        }
        FreeSlots const taken = *free_;
        void* const memory = free_;
        free_ = taken.count == 1 ? taken.next
                                 : ::new (static_cast<Slot*>(memory) + 1)
                                       FreeSlots{taken.next, taken.count - 1};
        return memory;
    }

    // Takes back what take() gave; no node lives in it any more.
    void giveBack(void* memory) noexcept { free_ = ::new (memory) FreeSlots{free_, 1}; }

private:
    struct FreeSlots { // lies in the first of them
        FreeSlots* next;
        std::size_t count;
    };
    struct alignas(Slot) Chunk {
        Chunk* next; // its slots follow
    };

    void addChunk(std::size_t used);

    FreeSlots* free_;
    Chunk* chunks_ = nullptr;
};

// Up to this many entries, a processor's cache holds all nodes, so that it does not matter where they lie.
inline constexpr std::size_t largestInCache = 1000;

// Nodes never move, so that references to entries stay valid. A map of a few entries has no index: walking
// along them is faster, and spares it all memory but this object.
class AnyMapStorage {
public:
    static constexpr std::size_t usualCapacity = 4;

    // Up to this many entries, an index is slower than comparing keys one after the other.
    static constexpr std::size_t largestWithoutIndex = 8;

    // Room for `capacity` entries, or for as many of them as are allocated at once, lies in the same block
    // of memory as the object.
    static std::unique_ptr<AnyMapStorage> create(any_map::map_type kind,
                                                 std::size_t capacity = usualCapacity);
    static std::unique_ptr<AnyMapStorage> copy(AnyMapStorage const& other);

    AnyMapStorage(AnyMapStorage const&) = delete;
    AnyMapStorage& operator=(AnyMapStorage const&) = delete;
    ~AnyMapStorage();
    static void operator delete(void* memory) noexcept { ::operator delete(memory); }

    AnyMapNode* first() const noexcept { return first_; }
    std::size_t size() const noexcept { return size_; }

    // Null if there is no such entry.
    AnyMapNode* find(std::string const& key) const;

    // The entry with this key, and whether it is new; a new one is constructed from `args`, which begin with
    // the key.
    template <typename... Args>
    std::pair<AnyMapNode*, bool> tryInsert(std::string const& key, Args&&... args);

    // The entry with this key; a new one has an empty value.
    template <typename Key>
    AnyMapNode* findOrInsert(Key&& key) {
        return tryInsert(key, std::piecewise_construct, std::forward_as_tuple(std::forward<Key>(key)),
                         std::tuple<>())
            .first;
    }

    // Adds an entry whose key is not here and, in an ordered map, greater than all that are.
    template <typename... Args>
    void append(Args&&... args);

    bool erase(std::string const& key);

private:
    struct Capacity {
        std::size_t slots;
    };
    static void* operator new(std::size_t size, Capacity capacity) {
        return ::operator new(size + capacity.slots * sizeof(NodePool::Slot));
    }
    static void operator delete(void* memory, Capacity) noexcept { ::operator delete(memory); }

    static std::unique_ptr<AnyMapStorage> allocate(any_map::map_type kind, std::size_t capacity);

    // The object must have been allocated with the same capacity.
    AnyMapStorage(any_map::map_type kind, Capacity capacity) noexcept;

    // Where the entry with some key is in an ordered map, or belongs; its position only if there is an index.
    using Place = SortedIndex::Place;

    // What the nodes of a large map are found by: the one of the two that its kind needs.
    struct Index {
        HashedIndex hashed;
        SortedIndex sorted;
    };

    // Gives a node that was made but not yet kept back to the pool.
    struct NodeDeleter {
        AnyMapStorage* storage;
        void operator()(AnyMapNode* node) const noexcept { storage->destroyNode(node); }
    };
    using OwnedNode = std::unique_ptr<AnyMapNode, NodeDeleter>;

    bool isOrdered() const noexcept { return kind_ == any_map::ORDERED_MAP; }
    bool isSameKey(std::string const& left, std::string const& right) const;

    template <typename... Args>
    std::pair<AnyMapNode*, bool> tryInsertOrdered(std::string const& key, Args&&... args);
    template <typename... Args>
    std::pair<AnyMapNode*, bool> tryInsertHashed(std::string const& key, Args&&... args);
    bool eraseOrdered(std::string const& key);
    bool eraseHashed(std::string const& key);

    // Calls `visitor`, which may destroy the node, with each node in iteration order.
    template <typename Visitor>
    void visit(Visitor const& visitor) const;

    Place placeInOrder(std::string const& key) const;
    std::size_t hashIfIndexed(std::string const& key) const;
    AnyMapNode* findHashed(std::string const& key, std::size_t hash) const;

    template <typename... Args>
    OwnedNode makeNode(Args&&... args);
    void destroyNode(AnyMapNode* node) noexcept;

    // The index of the nodes that there are.
    std::unique_ptr<Index> makeIndex() const;
    // The same, where `other` is that of the map whose entries were copied.
    std::unique_ptr<Index> makeIndexLike(Index const& other) const;

    // Put a node that was made into the index and the iteration order. If that throws, nothing is changed.
    void keepOrdered(Place const& place, AnyMapNode* node);
    void keepHashed(std::size_t hash, AnyMapNode* node);

    // Puts the node in front of `successor` in the iteration order, at the end if that is null.
    void link(AnyMapNode* node, AnyMapNode* successor) noexcept;
    void unlink(AnyMapNode* node) noexcept;

    any_map::map_type const kind_;
    std::size_t size_ = 0;
    AnyMapNode* first_ = nullptr;
    AnyMapNode* last_ = nullptr;
    std::unique_ptr<Index> index_; // null: there are so few entries that walking along them is faster
    NodePool pool_;
};

inline bool AnyMapStorage::isSameKey(std::string const& left, std::string const& right) const {
    return kind_ == any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS ? equalFolded(left, right) : left == right;
}

// Both hashed kinds hash without regard to case; they differ in which keys are the same.
inline std::size_t AnyMapStorage::hashIfIndexed(std::string const& key) const {
    return index_ ? hashFolded(key) : 0;
}

inline AnyMapNode* AnyMapStorage::findHashed(std::string const& key, std::size_t hash) const {
    if (index_) {
        return index_->hashed.find(hash,
                                   [&](AnyMapNode const& node) { return isSameKey(node.entry.first, key); });
    }
    AnyMapNode* node = first_;
    while (node && !isSameKey(node->entry.first, key)) {
        node = node->next;
    }
    return node;
}

inline void AnyMapStorage::keepHashed(std::size_t hash, AnyMapNode* node) {
    if (index_) {
        index_->hashed.insert(hash, node);
    } else if (size_ == largestWithoutIndex) {
        index_ = makeIndex();
        index_->hashed.insert(hashFolded(node->entry.first), node);
    }
    link(node, nullptr);
}

inline void AnyMapStorage::link(AnyMapNode* node, AnyMapNode* successor) noexcept {
    node->next = successor;
    node->previous = successor ? successor->previous : last_;
    (node->previous ? node->previous->next : first_) = node;
    (successor ? successor->previous : last_) = node;
    ++size_;
}

template <typename Visitor>
void AnyMapStorage::visit(Visitor const& visitor) const {
    if (isOrdered() && size_ > largestInCache) {
        index_->sorted.visit(visitor);
        return;
    }
    for (AnyMapNode* node = first_; node;) {
        visitor(std::exchange(node, node->next));
    }
}

template <typename... Args>
AnyMapStorage::OwnedNode AnyMapStorage::makeNode(Args&&... args) {
    void* const memory = pool_.take(size_);
    try {
        return OwnedNode(::new (memory) AnyMapNode(std::forward<Args>(args)...), NodeDeleter{this});
    } catch (...) {
        pool_.giveBack(memory);
        throw;
    }
}

template <typename... Args>
std::pair<AnyMapNode*, bool> AnyMapStorage::tryInsert(std::string const& key, Args&&... args) {
    return isOrdered() ? tryInsertOrdered(key, std::forward<Args>(args)...)
                       : tryInsertHashed(key, std::forward<Args>(args)...);
}

template <typename... Args>
std::pair<AnyMapNode*, bool> AnyMapStorage::tryInsertOrdered(std::string const& key, Args&&... args) {
    Place const place = placeInOrder(key);
    if (place.isFound) {
        return {place.node, false};
    }
    OwnedNode node = makeNode(std::forward<Args>(args)...);
    keepOrdered(place, node.get());
    return {node.release(), true};
}

template <typename... Args>
std::pair<AnyMapNode*, bool> AnyMapStorage::tryInsertHashed(std::string const& key, Args&&... args) {
    auto const hash = hashIfIndexed(key);
    if (AnyMapNode* const found = findHashed(key, hash)) {
        return {found, false};
    }
    OwnedNode node = makeNode(std::forward<Args>(args)...);
    keepHashed(hash, node.get());
    return {node.release(), true};
}

template <typename... Args>
void AnyMapStorage::append(Args&&... args) {
    OwnedNode node = makeNode(std::forward<Args>(args)...);
    if (isOrdered()) {
        keepOrdered(index_ ? index_->sorted.end() : Place(), node.get());
    } else {
        keepHashed(hashIfIndexed(node->entry.first), node.get());
    }
    static_cast<void>(node.release());
}

} // namespace cppmicroservices::detail

#endif
