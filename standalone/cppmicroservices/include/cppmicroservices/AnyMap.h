// any_map and AnyMap: maps from std::string to Any in one of three kinds, ordered, hashed, or hashed with
// keys that compare without regard to case.
//
// Distinct maps may be used by distinct threads; a shared map needs outside synchronisation as soon as one
// thread changes it.
#ifndef CPPMICROSERVICES_ANYMAP_H
#define CPPMICROSERVICES_ANYMAP_H

#include "cppmicroservices/Any.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>

namespace cppmicroservices {

namespace detail {

// Hash and equality of keys without regard to the case of ASCII letters.
struct US_Framework_EXPORT any_map_cihash {
    std::size_t operator()(std::string const& key) const;
};

struct US_Framework_EXPORT any_map_ciequal {
    bool operator()(std::string const& l, std::string const& r) const;
};

class AnyMapStorage;

// An entry and its place in the iteration order.
struct AnyMapNode {
    template <typename... Args>
    explicit AnyMapNode(Args&&... args)
        : entry(std::forward<Args>(args)...) {}

    AnyMapNode* next = nullptr;
    AnyMapNode* previous = nullptr;
    std::pair<std::string const, Any> entry;
};

[[noreturn]] US_Framework_EXPORT void throwInvalidIterator(char const* operation);

} // namespace detail

// A map of one of three kinds, chosen at construction and changed only by assignment. ORDERED_MAP iterates
// in the order of the keys, the other two in the order of insertion. References and iterators to an entry
// stay valid until that entry is erased. A moved-from map is empty and keeps its kind.
//
// Any kind may be given and taken as the standard container that corresponds to it; the map itself is built
// differently (one block of memory for small maps, few for large ones).
class US_Framework_EXPORT any_map {
    using Node = detail::AnyMapNode;

public:
    using key_type = std::string;
    using mapped_type = Any;
    using value_type = std::pair<key_type const, mapped_type>;
    using size_type = std::size_t;
    using difference_type = std::ptrdiff_t;
    using reference = value_type&;
    using const_reference = value_type const&;
    using pointer = value_type*;
    using const_pointer = value_type const*;
    using ordered_any_map = std::map<std::string, Any>;
    using unordered_any_map = std::unordered_map<std::string, Any>;
    using unordered_any_cimap =
        std::unordered_map<std::string, Any, detail::any_map_cihash, detail::any_map_ciequal>;

    enum map_type : std::uint8_t { ORDERED_MAP, UNORDERED_MAP, UNORDERED_MAP_CASEINSENSITIVE_KEYS };

private:
    // A default-constructed iterator belongs to no map and is equal only to its like. Dereferencing or
    // incrementing one, or an end iterator, throws std::logic_error.
    template <bool isConst>
    class basic_iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = any_map::value_type;
        using difference_type = any_map::difference_type;
        using reference = std::conditional_t<isConst, any_map::const_reference, any_map::reference>;
        using pointer = std::conditional_t<isConst, any_map::const_pointer, any_map::pointer>;
        using iterator = basic_iterator;

        basic_iterator() = default;

        template <bool otherIsConst, typename = std::enable_if_t<isConst && !otherIsConst>>
        basic_iterator(basic_iterator<otherIsConst> const& it)
            : node_(it.node_)
            , owner_(it.owner_) {}

        reference operator*() const {
            requireNode("dereference");
            return node_->entry;
        }
        pointer operator->() const { return &operator*(); }

        iterator& operator++() {
            requireNode("increment");
            node_ = node_->next;
            return *this;
        }
        iterator operator++(int) {
            iterator const before = *this;
            ++*this;
            return before;
        }

        bool operator==(iterator const& x) const { return node_ == x.node_ && owner_ == x.owner_; }
        bool operator!=(iterator const& x) const { return !operator==(x); }

    private:
        template <bool>
        friend class basic_iterator;
        friend class any_map;

        basic_iterator(Node* node, map_type kind)
            : node_(node)
            , owner_(static_cast<std::uint8_t>(kind + 1)) {}

        void requireNode(char const* operation) const {
            if (!node_) {
                detail::throwInvalidIterator(operation);
            }
        }

        Node* node_ = nullptr;   // null: past the last entry, or of no map
        std::uint8_t owner_ = 0; // 1 + the kind of the map; 0: of no map
    };

public:
    using iter = basic_iterator<false>;
    using const_iter = basic_iterator<true>;
    using iterator = iter;
    using const_iterator = const_iter;

    // A map of the kind `kind` with the entries of `l`; of several with equal keys the first counts.
    // \throws std::logic_error if `kind` is none of the three.
    any_map(map_type kind, std::initializer_list<value_type> l = {});
    any_map(ordered_any_map const& m);
    any_map(ordered_any_map&& m);
    any_map(unordered_any_map const& m);
    any_map(unordered_any_map&& m);
    any_map(unordered_any_cimap const& m);
    any_map(unordered_any_cimap&& m);

    any_map(any_map const& m);
    any_map& operator=(any_map const& m);
    any_map(any_map&& m) noexcept;
    any_map& operator=(any_map&& m) noexcept;
    ~any_map();

    iter begin() { return {first(), type}; }
    const_iter begin() const { return {first(), type}; }
    const_iter cbegin() const { return {first(), type}; }
    iter end() { return {nullptr, type}; }
    const_iter end() const { return {nullptr, type}; }
    const_iter cend() const { return {nullptr, type}; }

    bool empty() const { return size() == 0; }
    size_type size() const;
    size_type count(key_type const& key) const;
    void clear();

    // \throws std::out_of_range if there is no entry with this key.
    mapped_type& at(key_type const& key);
    mapped_type const& at(key_type const& key) const;

    // Adds an entry with an empty Any if there is none with this key.
    mapped_type& operator[](key_type const& key);
    mapped_type& operator[](key_type&& key);

    // The entry with this key, and whether it is new; an entry that was there is left as it is.
    std::pair<iterator, bool> insert(value_type const& value);

    // As insert(), of an entry constructed from `args` as a std::pair of key and value.
    template <class... Args>
    std::pair<iterator, bool> emplace(Args&&... args) {
        return insertMoved(std::pair<key_type, mapped_type>(std::forward<Args>(args)...));
    }

    // The entry with this key, or end().
    const_iterator find(key_type const& key) const;

    // Returns how many entries were erased: 0 or 1.
    size_type erase(key_type const& key);

    // Whether both maps are of one kind and hold equal values under the same keys. Keys are compared with
    // regard to case, whatever the kind.
    bool operator==(any_map const& rhs) const;
    bool operator!=(any_map const& rhs) const { return !operator==(rhs); }

protected:
    map_type type;

private:
    Node* first() const;
    Node* lookUp(key_type const& key) const;
    detail::AnyMapStorage& storage();
    std::pair<iterator, bool> insertMoved(std::pair<key_type, mapped_type>&& entry);

    std::unique_ptr<detail::AnyMapStorage> storage_; // null as long as nothing was inserted
};

// An any_map whose nested values can be reached by compound keys.
class US_Framework_EXPORT AnyMap : public any_map {
public:
    // A map of the kind UNORDERED_MAP_CASEINSENSITIVE_KEYS.
    AnyMap(std::initializer_list<any_map::value_type> l = {});
    AnyMap(map_type kind, std::initializer_list<any_map::value_type> l = {});
    AnyMap(ordered_any_map const& m);
    AnyMap(ordered_any_map&& m);
    AnyMap(unordered_any_map const& m);
    AnyMap(unordered_any_map&& m);
    AnyMap(unordered_any_cimap const& m);
    AnyMap(unordered_any_cimap&& m);

    map_type GetType() const;

    // The value reached by the key names that stand in `key`, separated by dots: each name but the last one
    // leads to an AnyMap or a std::vector<Any>, the latter indexed from 0, or from the end with -1 as the
    // last element. With {one: 1, two: {a: [3, 8]}} the key "two.a.1" reaches 8. A key that itself contains
    // a dot cannot be reached.
    // \throws std::out_of_range if there is no such key or element, or an index is too large for an int.
    // \throws std::invalid_argument if a name leads to another type than those two, or an index is no
    // number.
    mapped_type const& AtCompoundKey(key_type const& key) const;

    // As above, but gives a copy, and `defaultValue` if there is no such value or it cannot be copied.
    mapped_type AtCompoundKey(key_type const& key, mapped_type defaultValue) const noexcept;
};

template <>
US_Framework_EXPORT std::ostream& any_value_to_string(std::ostream& os, AnyMap const& val);

template <>
US_Framework_EXPORT std::ostream& any_value_to_json(std::ostream& os, AnyMap const& val,
                                                    std::uint8_t increment, std::int32_t indent);

template <>
US_Framework_EXPORT std::ostream& any_value_to_cpp(std::ostream& os, AnyMap const& val,
                                                   std::uint8_t increment, std::int32_t indent);

} // namespace cppmicroservices

#endif
