// Lines of a transcript: what an operation gave, in a form that is the same for every provider.
#ifndef TESTS_MICROSERVICES_RANDOM_TRANSCRIPT_HPP
#define TESTS_MICROSERVICES_RANDOM_TRANSCRIPT_HPP

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>

#include <exception>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>

namespace randomised {

// In quotes, on one line; bytes that are not printable ASCII as \xNN.
std::string inQuotes(std::string_view text);

// Its class and message.
std::string textOf(std::exception const& error);

// The type and the JSON form.
std::string textOf(cppmicroservices::Any const& value);

// The kind, and the entries in the order of their keys.
std::string textOf(cppmicroservices::AnyMap const& map);

inline std::string textOf(bool value) {
    return value ? "true" : "false";
}
inline std::string textOf(std::string const& value) {
    return inQuotes(value);
}

// What `operation` returns, or the exception that it throws.
template <class Operation>
std::string outcome(Operation const& operation) {
    try {
        if constexpr (std::is_void_v<std::invoke_result_t<Operation>>) {
            operation();
            return "done";
        } else {
            return textOf(operation());
        }
    } catch (std::exception const& error) {
        return textOf(error);
    } catch (...) {
        return "something else";
    }
}

} // namespace randomised

#endif
