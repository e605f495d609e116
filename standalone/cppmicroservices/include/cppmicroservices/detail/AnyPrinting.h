// The text forms of the values that an Any can hold: as string, as JSON and as a C++ expression.
//
// A type takes part by having operator<<, or by specialising or overloading any_value_to_string(),
// any_value_to_json() and any_value_to_cpp(); all calls here are found by argument-dependent lookup.
#ifndef CPPMICROSERVICES_DETAIL_ANYPRINTING_H
#define CPPMICROSERVICES_DETAIL_ANYPRINTING_H

#include "cppmicroservices/FrameworkExport.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <ostream>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

namespace cppmicroservices {

class Any;

// Significant digits of floating-point numbers in every text form.
constexpr int DOUBLE_PRECISION = 12;

// Starts a line indented by `indent` spaces, unless `increment` is 0.
US_Framework_EXPORT std::ostream& newline_and_indent(std::ostream& os, std::uint8_t increment,
                                                     std::int32_t indent);

// \throws std::logic_error if `any` is empty.
US_Framework_EXPORT std::ostream& any_value_to_string(std::ostream& os, Any const& any);

US_Framework_EXPORT std::ostream& any_value_to_json(std::ostream& os, Any const& val, std::uint8_t,
                                                    std::int32_t);
US_Framework_EXPORT std::ostream& any_value_to_json(std::ostream& os, std::string const& val, std::uint8_t,
                                                    std::int32_t);
US_Framework_EXPORT std::ostream& any_value_to_json(std::ostream& os, bool val, std::uint8_t, std::int32_t);

US_Framework_EXPORT std::ostream& any_value_to_cpp(std::ostream& os, Any const& val, std::uint8_t,
                                                   std::int32_t);
US_Framework_EXPORT std::ostream& any_value_to_cpp(std::ostream& os, std::string const& val, std::uint8_t,
                                                   std::int32_t);
US_Framework_EXPORT std::ostream& any_value_to_cpp(std::ostream& os, bool val, std::uint8_t, std::int32_t);

// Functions have no text.

template <typename ReturnT, typename... Args>
std::ostream& any_value_to_string(std::ostream& os, std::function<ReturnT(Args...)> const&) {
    return os;
}

template <typename ReturnT, typename... Args>
std::ostream& any_value_to_json(std::ostream& os, std::function<ReturnT(Args...)> const&, std::uint8_t const,
                                std::int32_t const) {
    return os;
}

template <typename ReturnT, typename... Args>
std::ostream& any_value_to_cpp(std::ostream& os, std::function<ReturnT(Args...)> const&, std::uint8_t const,
                               std::int32_t const) {
    return os;
}

// Everything else: operator<<, with DOUBLE_PRECISION significant digits for floating point, whatever
// precision the stream has. The three after it are the templates that other types specialise. No condition is
// part of their type: g++ and clang++ disagree on the symbol of such a specialisation, so that a program of
// the one could not be linked to a library of the other.

template <class T>
std::ostream& stream_value(std::ostream& os, T const& val) {
    if constexpr (std::is_floating_point_v<T>) {
        struct PrecisionGuard {
            std::ostream& stream;
            std::streamsize before;
            ~PrecisionGuard() { stream.precision(before); }
        } const guard{os, os.precision(DOUBLE_PRECISION)};
        os << val;
    } else {
        os << val;
    }
    return os;
}

template <class T>
std::ostream& any_value_to_string(std::ostream& os, T const& val) {
    return stream_value(os, val);
}

template <class T>
std::ostream& any_value_to_json(std::ostream& os, T const& val, std::uint8_t const = 0,
                                std::int32_t const = 0) {
    return stream_value(os, val);
}

template <class T>
std::ostream& any_value_to_cpp(std::ostream& os, T const& val, std::uint8_t const = 0,
                               std::int32_t const = 0) {
    return stream_value(os, val);
}

// Containers. All are declared before the first one is defined, so that they nest in any order.

// NOLINTBEGIN(bugprone-macro-parentheses): a template has none
#define CPPMICROSERVICES_DECLARE_SEQUENCE_FORMS(Container)                                                   \
    template <class E>                                                                                       \
    std::ostream& any_value_to_string(std::ostream& os, Container<E> const& sequence);                       \
    template <class E>                                                                                       \
    std::ostream& any_value_to_json(std::ostream& os, Container<E> const& sequence, std::uint8_t increment,  \
                                    std::int32_t indent);                                                    \
    template <class E>                                                                                       \
    std::ostream& any_value_to_cpp(std::ostream& os, Container<E> const& sequence, std::uint8_t increment,   \
                                   std::int32_t indent);
// NOLINTEND(bugprone-macro-parentheses)
CPPMICROSERVICES_DECLARE_SEQUENCE_FORMS(std::vector)
CPPMICROSERVICES_DECLARE_SEQUENCE_FORMS(std::list)
CPPMICROSERVICES_DECLARE_SEQUENCE_FORMS(std::set)
#undef CPPMICROSERVICES_DECLARE_SEQUENCE_FORMS

// Maps to Any print their values as the value's own type does; maps to other types print them with
// operator<<.

template <class K>
std::ostream& any_value_to_string(std::ostream& os, std::map<K, Any> const& m);
template <class K, class V>
std::ostream& any_value_to_string(std::ostream& os, std::map<K, V> const& m);
template <class K>
std::ostream& any_value_to_json(std::ostream& os, std::map<K, Any> const& m, std::uint8_t increment,
                                std::int32_t indent);
template <class K, class V>
std::ostream& any_value_to_json(std::ostream& os, std::map<K, V> const& m, std::uint8_t increment,
                                std::int32_t indent);
template <class K>
std::ostream& any_value_to_cpp(std::ostream& os, std::map<K, Any> const& m, std::uint8_t increment,
                               std::int32_t indent);
template <class K, class V>
std::ostream& any_value_to_cpp(std::ostream& os, std::map<K, V> const& m, std::uint8_t increment,
                               std::int32_t indent);

namespace detail {

// Writes every element of [i1, i2) through `printElement`, separated by `separator`.
template <typename Iterator, typename PrintElement>
void printSeparated(std::ostream& os, Iterator i1, Iterator i2, char const* separator,
                    PrintElement printElement) {
    for (bool first = true; i1 != i2; ++i1, first = false) {
        if (!first) {
            os << separator;
        }
        printElement(*i1);
    }
}

// The same with each element on a line of its own, between `open` and `close`; nothing stands between those
// two if there is no element.
template <typename Iterator, typename PrintElement>
void printLines(std::ostream& os, Iterator i1, Iterator i2, char const* open, char const* separator,
                char const* close, std::uint8_t increment, std::int32_t indent, PrintElement printElement) {
    os << open;
    if (i1 != i2) {
        printSeparated(os, i1, i2, separator, [&](auto const& element) {
            newline_and_indent(os, increment, indent);
            printElement(element);
        });
        newline_and_indent(os, increment, indent - increment);
    }
    os << close;
}

} // namespace detail

template <typename Iterator>
std::ostream& container_to_string(std::ostream& os, Iterator i1, Iterator i2) {
    os << "[";
    detail::printSeparated(os, i1, i2, ",", [&os](auto const& element) { any_value_to_string(os, element); });
    os << "]";
    return os;
}

template <typename Iterator>
std::ostream& container_to_json(std::ostream& os, Iterator i1, Iterator i2, std::uint8_t const increment = 0,
                                std::int32_t const indent = 0) {
    detail::printLines(os, i1, i2, "[", ",", "]", increment, indent, [&](auto const& element) {
        any_value_to_json(os, element, increment, indent + increment);
    });
    return os;
}

template <typename Iterator>
std::ostream& container_to_cpp(std::ostream& os, Iterator i1, Iterator i2, std::uint8_t const increment = 0,
                               std::int32_t const indent = 0) {
    detail::printLines(os, i1, i2, "AnyVector {{", ",", "}}", increment, indent, [&](auto const& element) {
        any_value_to_cpp(os, element, increment, indent + increment);
    });
    return os;
}

// NOLINTBEGIN(bugprone-macro-parentheses): a template has none
#define CPPMICROSERVICES_DEFINE_SEQUENCE_FORMS(Container)                                                    \
    template <class E>                                                                                       \
    std::ostream& any_value_to_string(std::ostream& os, Container<E> const& sequence) {                      \
        return container_to_string(os, sequence.begin(), sequence.end());                                    \
    }                                                                                                        \
    template <class E>                                                                                       \
    std::ostream& any_value_to_json(std::ostream& os, Container<E> const& sequence,                          \
                                    std::uint8_t const increment, std::int32_t const indent) {               \
        return container_to_json(os, sequence.begin(), sequence.end(), increment, indent);                   \
    }                                                                                                        \
    template <class E>                                                                                       \
    std::ostream& any_value_to_cpp(std::ostream& os, Container<E> const& sequence,                           \
                                   std::uint8_t const increment, std::int32_t const indent) {                \
        return container_to_cpp(os, sequence.begin(), sequence.end(), increment, indent);                    \
    }
// NOLINTEND(bugprone-macro-parentheses)
CPPMICROSERVICES_DEFINE_SEQUENCE_FORMS(std::vector)
CPPMICROSERVICES_DEFINE_SEQUENCE_FORMS(std::list)
CPPMICROSERVICES_DEFINE_SEQUENCE_FORMS(std::set)
#undef CPPMICROSERVICES_DEFINE_SEQUENCE_FORMS

namespace detail {

template <class Map, class PrintValue>
std::ostream& mapToString(std::ostream& os, Map const& map, PrintValue printValue) {
    os << "{";
    printSeparated(os, map.begin(), map.end(), ", ", [&](auto const& entry) {
        os << entry.first << " : ";
        printValue(entry.second);
    });
    os << "}";
    return os;
}

template <class Map, class PrintValue>
std::ostream& mapToJson(std::ostream& os, Map const& map, std::uint8_t increment, std::int32_t indent,
                        PrintValue printValue) {
    printLines(os, map.begin(), map.end(), "{", ", ", "}", increment, indent, [&](auto const& entry) {
        os << '"' << entry.first << "\" : ";
        printValue(entry.second);
    });
    return os;
}

template <class Map, class PrintValue>
std::ostream& mapToCpp(std::ostream& os, Map const& map, std::uint8_t increment, std::int32_t indent,
                       PrintValue printValue) {
    os << "AnyMap { ORDERED_MAP, ";
    printLines(os, map.begin(), map.end(), "{", ", ", "}}", increment, indent, [&](auto const& entry) {
        os << "{\"" << entry.first << "\" , ";
        printValue(entry.second);
        os << "}";
    });
    return os;
}

} // namespace detail

template <class K>
std::ostream& any_value_to_string(std::ostream& os, std::map<K, Any> const& m) {
    return detail::mapToString(os, m, [&os](auto const& value) { any_value_to_string(os, value); });
}

template <class K, class V>
std::ostream& any_value_to_string(std::ostream& os, std::map<K, V> const& m) {
    return detail::mapToString(os, m, [&os](V const& value) { os << value; });
}

template <class K>
std::ostream& any_value_to_json(std::ostream& os, std::map<K, Any> const& m, std::uint8_t const increment,
                                std::int32_t const indent) {
    return detail::mapToJson(os, m, increment, indent, [&](auto const& value) {
        any_value_to_json(os, value, increment, indent + increment);
    });
}

template <class K, class V>
std::ostream& any_value_to_json(std::ostream& os, std::map<K, V> const& m, std::uint8_t const increment,
                                std::int32_t const indent) {
    return detail::mapToJson(os, m, increment, indent, [&os](V const& value) { os << value; });
}

template <class K>
std::ostream& any_value_to_cpp(std::ostream& os, std::map<K, Any> const& m, std::uint8_t const increment,
                               std::int32_t const indent) {
    return detail::mapToCpp(os, m, increment, indent, [&](auto const& value) {
        any_value_to_cpp(os, value, increment, indent + increment);
    });
}

template <class K, class V>
std::ostream& any_value_to_cpp(std::ostream& os, std::map<K, V> const& m, std::uint8_t const increment,
                               std::int32_t const indent) {
    return detail::mapToCpp(os, m, increment, indent, [&os](V const& value) { os << value; });
}

} // namespace cppmicroservices

#endif
