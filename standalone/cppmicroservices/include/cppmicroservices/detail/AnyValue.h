// How an Any keeps a value of a type it does not know: storage, and a table of the operations on that type.
#ifndef CPPMICROSERVICES_DETAIL_ANYVALUE_H
#define CPPMICROSERVICES_DETAIL_ANYVALUE_H

#include "cppmicroservices/FrameworkExport.h"
#include "cppmicroservices/detail/AnyPrinting.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iosfwd>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

namespace cppmicroservices::detail {

union AnyStorage {
    void* heap;
    alignas(std::string) std::array<std::byte, sizeof(std::string)> bytes;
};

// How a value that fits into a word is copied and moved. It is written as a word, too: a processor waits
// for smaller writes to finish before it reads what they are a part of.
inline void copyWord(AnyStorage const& from, AnyStorage& to) noexcept {
    std::memcpy(&to, &from, sizeof(void*));
}

// The operations on one type. `relocate` moves the value and ends the life of the one moved from, so that an
// Any whose value was taken is simply empty. Null stands for copyWord(), as `copy` and `relocate`, and for
// nothing to be done, as `destroy`.
struct AnyOperations {
    std::type_info const& type;
    bool isInline;
    void (*copy)(AnyStorage const& from, AnyStorage& to);
    void (*relocate)(AnyStorage& from, AnyStorage& to) noexcept;
    void (*destroy)(AnyStorage& storage) noexcept;
    bool (*equal)(void const* left, void const* right);
    void (*toString)(std::ostream& os, void const* value);
    void (*toJson)(std::ostream& os, void const* value, std::uint8_t increment, std::int32_t indent);
    void (*toCpp)(std::ostream& os, void const* value, std::uint8_t increment, std::int32_t indent);
};

template <typename T, typename = void>
struct HasEquality : std::false_type {};

template <typename T>
struct HasEquality<T, std::void_t<decltype(std::declval<T const&>() == std::declval<T const&>())>>
    : std::true_type {};

// Types that cannot be compared are equal to nothing; neither are arrays, which no Any holds.
template <typename T>
bool equalValues(T const& left, T const& right) {
    if constexpr (std::conjunction_v<std::negation<std::is_array<T>>, HasEquality<T>>) {
        return static_cast<bool>(left == right);
    } else {
        return false;
    }
}

// Exported, so that where possible all libraries share one table per type, and none is left pointing into a
// library that was unloaded.
template <typename T>
class US_Framework_EXPORT AnyOperationsFor {
public:
    static constexpr bool isInline = sizeof(T) <= sizeof(AnyStorage) && alignof(T) <= alignof(AnyStorage) &&
                                     std::is_nothrow_move_constructible_v<T>;
    static constexpr bool isWord = isInline && sizeof(T) <= sizeof(void*) && std::is_trivially_copyable_v<T>;

    static AnyOperations const table;

    template <typename Source>
    static void create(AnyStorage& storage, Source&& source) {
        if constexpr (isWord) {
            T const value(std::forward<Source>(source));
            std::uintptr_t word = 0;
            std::memcpy(&word, std::addressof(value), sizeof value);
            std::memcpy(&storage, &word, sizeof word);
        } else if constexpr (isInline) {
            ::new (static_cast<void*>(&storage)) T(std::forward<Source>(source));
        } else {
            storage.heap = ::new T(std::forward<Source>(source));
        }
    }

    static T const* get(AnyStorage const& storage) noexcept {
        if constexpr (isInline) {
            return std::launder(reinterpret_cast<T const*>(&storage));
        } else {
            return static_cast<T const*>(storage.heap);
        }
    }

private:
    static T const& as(void const* value) noexcept { return *static_cast<T const*>(value); }

    static void copy(AnyStorage const& from, AnyStorage& to) { create(to, *get(from)); }

    static void relocate(AnyStorage& from, AnyStorage& to) noexcept {
        T& source = const_cast<T&>(*get(from));
        create(to, std::move(source));
        source.~T(); // NOLINT(bugprone-use-after-move): whatever the move left ends here
    }

    static void destroy(AnyStorage& storage) noexcept {
        if constexpr (isInline) {
            get(storage)->~T();
        } else {
            ::delete get(storage);
        }
    }

    static bool equal(void const* left, void const* right) { return equalValues(as(left), as(right)); }

    static void toString(std::ostream& os, void const* value) { any_value_to_string(os, as(value)); }

    static void toJson(std::ostream& os, void const* value, std::uint8_t increment, std::int32_t indent) {
        any_value_to_json(os, as(value), increment, indent);
    }

    static void toCpp(std::ostream& os, void const* value, std::uint8_t increment, std::int32_t indent) {
        any_value_to_cpp(os, as(value), increment, indent);
    }
};

template <typename T>
AnyOperations const AnyOperationsFor<T>::table = {typeid(T),
                                                  isInline,
                                                  isWord ? nullptr : &copy,
                                                  isWord || !isInline ? nullptr : &relocate,
                                                  isWord ? nullptr : &destroy,
                                                  &equal,
                                                  &toString,
                                                  &toJson,
                                                  &toCpp};

} // namespace cppmicroservices::detail

#endif
