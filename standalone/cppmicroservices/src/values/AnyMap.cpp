// any_map on top of its storage, and what AnyMap shares with it.
#include "cppmicroservices/AnyMap.h"

#include "AnyMapStorage.hpp"

#include <stdexcept>

namespace cppmicroservices {

namespace detail {

void throwInvalidIterator(char const* operation) {
    throw std::logic_error(std::string("cannot ") + operation + " an invalid iterator");
}

} // namespace detail

namespace {

any_map::map_type requireValid(any_map::map_type type) {
    if (type > any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS) {
        throw std::logic_error("invalid map type");
    }
    return type;
}

using StoragePointer = std::unique_ptr<detail::AnyMapStorage>;

StoragePointer copyEntries(any_map::map_type type, std::initializer_list<any_map::value_type> entries) {
    if (entries.size() == 0) {
        return nullptr;
    }
    auto storage = detail::AnyMapStorage::create(type, entries.size());
    for (auto const& entry : entries) {
        storage->tryInsert(entry.first, entry);
    }
    return storage;
}

// The keys of a standard map are distinct, and in the right order for an ordered map.
template <typename Map>
StoragePointer copyMap(any_map::map_type type, Map const& entries) {
    if (entries.empty()) {
        return nullptr;
    }
    auto storage = detail::AnyMapStorage::create(type, entries.size());
    for (auto const& entry : entries) {
        storage->append(entry);
    }
    return storage;
}

// Takes the nodes out of the map, because only then its keys can be moved.
template <typename Map>
StoragePointer moveMap(any_map::map_type type, Map& entries) {
    if (entries.empty()) {
        return nullptr;
    }
    auto storage = detail::AnyMapStorage::create(type, entries.size());
    while (!entries.empty()) {
        auto node = entries.extract(entries.begin());
        storage->append(std::move(node.key()), std::move(node.mapped()));
    }
    return storage;
}

StoragePointer copyStorage(StoragePointer const& storage) {
    return storage ? detail::AnyMapStorage::copy(*storage) : nullptr;
}

} // namespace

any_map::any_map(map_type kind, std::initializer_list<value_type> l)
    : type(requireValid(kind))
    , storage_(copyEntries(type, l)) {}
any_map::any_map(ordered_any_map const& m)
    : type(ORDERED_MAP)
    , storage_(copyMap(type, m)) {}
any_map::any_map(ordered_any_map&& m)
    : type(ORDERED_MAP)
    , storage_(moveMap(type, m)) {}
any_map::any_map(unordered_any_map const& m)
    : type(UNORDERED_MAP)
    , storage_(copyMap(type, m)) {}
any_map::any_map(unordered_any_map&& m)
    : type(UNORDERED_MAP)
    , storage_(moveMap(type, m)) {}
any_map::any_map(unordered_any_cimap const& m)
    : type(UNORDERED_MAP_CASEINSENSITIVE_KEYS)
    , storage_(copyMap(type, m)) {}
any_map::any_map(unordered_any_cimap&& m)
    : type(UNORDERED_MAP_CASEINSENSITIVE_KEYS)
    , storage_(moveMap(type, m)) {}

any_map::any_map(any_map const& m)
    : type(m.type)
    , storage_(copyStorage(m.storage_)) {}

any_map& any_map::operator=(any_map const& m) {
    if (this != &m) {
        storage_ = copyStorage(m.storage_);
        type = m.type;
    }
    return *this;
}

any_map::any_map(any_map&& m) noexcept = default;
any_map& any_map::operator=(any_map&& m) noexcept = default;
any_map::~any_map() = default;

any_map::size_type any_map::size() const {
    return storage_ ? storage_->size() : 0;
}

any_map::size_type any_map::count(key_type const& key) const {
    return lookUp(key) ? 1 : 0;
}

void any_map::clear() {
    storage_.reset();
}

any_map::mapped_type const& any_map::at(key_type const& key) const {
    Node const* const node = lookUp(key);
    if (!node) {
        throw std::out_of_range(type == ORDERED_MAP ? "map::at" : "unordered_map::at");
    }
    return node->entry.second;
}

any_map::mapped_type& any_map::at(key_type const& key) {
    return const_cast<mapped_type&>(static_cast<any_map const&>(*this).at(key));
}

any_map::mapped_type& any_map::operator[](key_type const& key) {
    return storage().findOrInsert(key)->entry.second;
}

any_map::mapped_type& any_map::operator[](key_type&& key) {
    return storage().findOrInsert(std::move(key))->entry.second;
}

std::pair<any_map::iterator, bool> any_map::insert(value_type const& value) {
    auto const [node, inserted] = storage().tryInsert(value.first, value);
    return {iterator(node, type), inserted};
}

std::pair<any_map::iterator, bool> any_map::insertMoved(std::pair<key_type, mapped_type>&& entry) {
    auto const [node, inserted] = storage().tryInsert(entry.first, std::move(entry));
    return {iterator(node, type), inserted};
}

any_map::const_iterator any_map::find(key_type const& key) const {
    return {lookUp(key), type};
}

any_map::size_type any_map::erase(key_type const& key) {
    return storage_ && storage_->erase(key) ? 1 : 0;
}

bool any_map::operator==(any_map const& rhs) const {
    if (type != rhs.type || size() != rhs.size()) {
        return false;
    }
    // Copies and ordered maps iterate alike, so that the entry to compare with mostly is the next one.
    Node const* expected = rhs.first();
    for (Node const* node = first(); node; node = node->next) {
        auto const& [key, value] = node->entry;
        Node const* other = expected;
        if (!other || other->entry.first != key) {
            other = rhs.lookUp(key);
            if (!other || other->entry.first != key) {
                return false;
            }
        }
        if (!(value == other->entry.second)) {
            return false;
        }
        expected = other->next;
    }
    return true;
}

any_map::Node* any_map::first() const {
    return storage_ ? storage_->first() : nullptr;
}

any_map::Node* any_map::lookUp(key_type const& key) const {
    return storage_ ? storage_->find(key) : nullptr;
}

detail::AnyMapStorage& any_map::storage() {
    if (!storage_) {
        storage_ = detail::AnyMapStorage::create(type);
    }
    return *storage_;
}

AnyMap::AnyMap(std::initializer_list<any_map::value_type> l)
    : any_map(UNORDERED_MAP_CASEINSENSITIVE_KEYS, l) {}
AnyMap::AnyMap(map_type kind, std::initializer_list<any_map::value_type> l)
    : any_map(kind, l) {}
AnyMap::AnyMap(ordered_any_map const& m)
    : any_map(m) {}
AnyMap::AnyMap(ordered_any_map&& m)
    : any_map(std::move(m)) {}
AnyMap::AnyMap(unordered_any_map const& m)
    : any_map(m) {}
AnyMap::AnyMap(unordered_any_map&& m)
    : any_map(std::move(m)) {}
AnyMap::AnyMap(unordered_any_cimap const& m)
    : any_map(m) {}
AnyMap::AnyMap(unordered_any_cimap&& m)
    : any_map(std::move(m)) {}

AnyMap::map_type AnyMap::GetType() const {
    return type;
}

} // namespace cppmicroservices
