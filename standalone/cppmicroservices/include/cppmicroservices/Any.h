// Any: a value of any copyable type, with type-safe access, comparison and text forms.
//
// Distinct objects may be used by distinct threads; a shared object needs outside synchronisation as soon as
// one thread changes it.
#ifndef CPPMICROSERVICES_ANY_H
#define CPPMICROSERVICES_ANY_H

#include "cppmicroservices/FrameworkConfig.h"
#include "cppmicroservices/detail/AnyPrinting.h"
#include "cppmicroservices/detail/AnyValue.h"

#include <cstdint>
#include <iomanip> // this one, <memory> and <sstream>: users of this header have always got them from it
#include <memory>
#include <sstream>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

namespace cppmicroservices {

// Holds nothing or one value. Values up to the size of a std::string are stored in the object itself if
// their move constructor cannot throw, larger ones on the heap; moving an Any never allocates. A moved-from
// Any is empty.
class US_Framework_EXPORT Any {
    template <typename ValueType>
    using IfMovedIn =
        std::enable_if_t<!std::is_same_v<Any, std::decay_t<ValueType>> && !std::is_reference_v<ValueType>>;

public:
    // Empty. Not defaulted, so that constants can be declared without an initialiser.
    Any() noexcept {} // NOLINT(modernize-use-equals-default)

    // Holds a copy of `value`. Implicit, so that values can be written where an Any is expected. A string
    // literal is no value that can be held: write std::string("...").
    template <typename ValueType>
    Any(ValueType const& value)
        : operations_(&detail::AnyOperationsFor<ValueType>::table) {
        detail::AnyOperationsFor<ValueType>::create(storage_, value);
    }

    // Holds `value`, moved in.
    template <typename ValueType, typename = IfMovedIn<ValueType>>
    Any(ValueType&& value)
        : operations_(&detail::AnyOperationsFor<std::decay_t<ValueType>>::table) {
        detail::AnyOperationsFor<std::decay_t<ValueType>>::create(storage_, std::forward<ValueType>(value));
    }

    Any(Any const& other)
        : operations_(other.operations_) {
        if (!operations_) {
            return;
        }
        if (operations_->copy) {
            operations_->copy(other.storage_, storage_);
        } else {
            detail::copyWord(other.storage_, storage_);
        }
    }

    Any(Any&& other) noexcept { takeFrom(other); }

    ~Any() { reset(); }

    Any& operator=(Any const& rhs) {
        if (this != &rhs) {
            *this = Any(rhs);
        }
        return *this;
    }

    Any& operator=(Any&& rhs) noexcept {
        if (this != &rhs) {
            reset();
            takeFrom(rhs);
        }
        return *this;
    }

    template <typename ValueType>
    Any& operator=(ValueType const& rhs) {
        return assign(rhs);
    }

    template <typename ValueType, typename = IfMovedIn<ValueType>>
    Any& operator=(ValueType&& rhs) {
        return assign(std::forward<ValueType>(rhs));
    }

    // Exchanges the values and returns this object.
    Any& Swap(Any& rhs) noexcept {
        if (this != &rhs) {
            Any held;
            held.takeFrom(rhs);
            rhs.takeFrom(*this);
            takeFrom(held);
        }
        return *this;
    }

    // Whether this holds a `ValueType` that is equal to `val`. Types without operator== are equal to
    // nothing, and types are not converted: an Any that holds a std::string is never equal to a character
    // array.
    template <typename ValueType>
    bool operator==(ValueType const& val) const {
        ValueType const* const held = valueIf<ValueType>();
        return held && detail::equalValues(*held, val);
    }

    // Whether both hold values of one type that are equal. An empty Any is equal to nothing, not even to
    // another empty one.
    bool operator==(Any const& rhs) const {
        return operations_ != nullptr && rhs.operations_ != nullptr &&
               operations_->type == rhs.operations_->type && rhs.operations_->equal(value(), rhs.value());
    }

    template <typename ValueType>
    bool operator!=(ValueType const& val) const {
        return !operator==(val);
    }

    bool Empty() const noexcept { return operations_ == nullptr; }

    // The value as operator<< writes it, unless any_value_to_string() is specialised or overloaded for its
    // type; containers as "[a,b]" and "{key : value, ...}".
    // \throws std::logic_error if this is empty.
    std::string ToString() const;

    // As ToString(), but an empty Any gives the empty string.
    std::string ToStringNoExcept() const;

    // The value as JSON; an empty Any is null. Types print themselves through any_value_to_json(); the
    // default writes them with operator<<.
    // \param increment spaces that each level adds; 0 writes everything on one line
    // \param indent spaces in front of the elements of the outermost level
    std::string ToJSON(std::uint8_t increment, std::int32_t indent) const;

    // \param prettyPrint one element a line, indented by four spaces for each level
    std::string ToJSON(bool prettyPrint = false) const;

    // The value as a C++ expression, laid out as ToJSON() does. An empty Any is null.
    std::string ToCPP(std::uint8_t increment, std::int32_t indent) const;
    std::string ToCPP(bool prettyPrint = false) const;

    // The type of the value; that of void if this is empty.
    std::type_info const& Type() const noexcept { return operations_ ? operations_->type : typeid(void); }

private:
    template <typename ValueType>
    friend ValueType* any_cast(Any* operand);
    template <typename ValueType>
    friend ValueType const* any_cast(Any const* operand);

    void const* value() const noexcept {
        return operations_->isInline ? static_cast<void const*>(&storage_) : storage_.heap;
    }

    // Null unless a ValueType is held. Asks nothing of the type, which may be one that an Any cannot hold.
    template <typename ValueType>
    ValueType const* valueIf() const noexcept {
        bool const isHeld = operations_ != nullptr && operations_->type == typeid(ValueType);
        return isHeld ? detail::AnyOperationsFor<ValueType>::get(storage_) : nullptr;
    }

    // If there is a value, it stays until the new one is made, which may be a part of it and may throw.
    template <typename ValueType>
    Any& assign(ValueType&& value) {
        using Operations = detail::AnyOperationsFor<std::decay_t<ValueType>>;
        if (operations_) {
            return *this = Any(std::forward<ValueType>(value));
        }
        Operations::create(storage_, std::forward<ValueType>(value));
        operations_ = &Operations::table;
        return *this;
    }

    // Requires that this is empty or that its value has been relocated.
    void takeFrom(Any& other) noexcept {
        operations_ = std::exchange(other.operations_, nullptr);
        if (!operations_) {
            return;
        }
        if (operations_->relocate) {
            operations_->relocate(other.storage_, storage_);
        } else {
            detail::copyWord(other.storage_, storage_);
        }
    }

    void reset() noexcept {
        auto const* const operations = std::exchange(operations_, nullptr);
        if (operations && operations->destroy) {
            operations->destroy(storage_);
        }
    }

    detail::AnyOperations const* operations_ = nullptr; // null: empty
    detail::AnyStorage storage_;
};

// A failed conversion by any_cast() or ref_any_cast().
class US_Framework_EXPORT BadAnyCastException : public std::bad_cast {
public:
    BadAnyCastException(std::string msg = "");
    ~BadAnyCastException() override;

    char const* what() const noexcept override;

private:
    std::string message_;
};

namespace detail {

[[noreturn]] US_Framework_EXPORT void ThrowBadAnyCastException(std::string const& funcName,
                                                               std::type_info const& source,
                                                               std::type_info const& target);

} // namespace detail

// The value held, or null if `operand` is null, is empty or holds another type.
template <typename ValueType>
ValueType* any_cast(Any* operand) {
    return operand ? const_cast<ValueType*>(operand->template valueIf<std::remove_cv_t<ValueType>>())
                   : nullptr;
}

template <typename ValueType>
ValueType const* any_cast(Any const* operand) {
    return operand ? operand->template valueIf<std::remove_cv_t<ValueType>>() : nullptr;
}

// A reference to the value held.
// \throws BadAnyCastException if `operand` is empty or holds another type.
template <typename ValueType>
ValueType const& ref_any_cast(Any const& operand) {
    auto const* const value = any_cast<ValueType>(&operand);
    if (!value) {
        detail::ThrowBadAnyCastException("ref_any_cast", operand.Type(), typeid(ValueType));
    }
    return *value;
}

template <typename ValueType>
ValueType& ref_any_cast(Any& operand) {
    auto* const value = any_cast<ValueType>(&operand);
    if (!value) {
        detail::ThrowBadAnyCastException("ref_any_cast", operand.Type(), typeid(ValueType));
    }
    return *value;
}

// A copy of the value held.
// \throws BadAnyCastException if `operand` is empty or holds another type.
template <typename ValueType>
ValueType any_cast(Any const& operand) {
    auto const* const value = any_cast<ValueType>(&operand);
    if (!value) {
        detail::ThrowBadAnyCastException("any_cast", operand.Type(), typeid(ValueType));
    }
    return *value;
}

template <typename ValueType>
ValueType any_cast(Any& operand) {
    return any_cast<ValueType>(static_cast<Any const&>(operand));
}

} // namespace cppmicroservices

#endif
