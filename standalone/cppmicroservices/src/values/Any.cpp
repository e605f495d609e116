// The parts of Any that need not be templates: text forms and cast errors.
#include "cppmicroservices/Any.h"

#include <cstdlib>
#include <cxxabi.h>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string_view>

namespace cppmicroservices {

namespace {

constexpr std::uint8_t prettyIncrement = 4;

std::string readableName(std::type_info const& type) {
    int status = 0;
    std::unique_ptr<char, decltype(&std::free)> const name(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
    return name ? name.get() : type.name();
}

void printJsonString(std::ostream& os, std::string const& text) {
    constexpr std::string_view hexDigits = "0123456789abcdef";
    os << '"';
    for (char const c : text) {
        switch (c) {
        case '"':
            os << "\\\"";
            break;
        case '\\':
            os << "\\\\";
            break;
        case '\b':
            os << "\\b";
            break;
        case '\f':
            os << "\\f";
            break;
        case '\n':
            os << "\\n";
            break;
        case '\r':
            os << "\\r";
            break;
        case '\t':
            os << "\\t";
            break;
        default:
            if (auto const code = static_cast<unsigned char>(c); code < 0x20) {
                os << "\\u00" << hexDigits[code >> 4] << hexDigits[code & 0xf];
            } else {
                os << c;
            }
        }
    }
    os << '"';
}

} // namespace

std::ostream& newline_and_indent(std::ostream& os, std::uint8_t const increment, std::int32_t const indent) {
    if (increment > 0) {
        os << '\n';
        for (std::int32_t i = 0; i < indent; ++i) {
            os << ' ';
        }
    }
    return os;
}

std::ostream& any_value_to_string(std::ostream& os, Any const& any) {
    return os << any.ToString();
}

std::ostream& any_value_to_json(std::ostream& os, Any const& val, std::uint8_t const increment,
                                std::int32_t const indent) {
    return os << val.ToJSON(increment, indent);
}

std::ostream& any_value_to_json(std::ostream& os, std::string const& val, std::uint8_t const,
                                std::int32_t const) {
    printJsonString(os, val);
    return os;
}

std::ostream& any_value_to_json(std::ostream& os, bool val, std::uint8_t const, std::int32_t const) {
    return os << (val ? "true" : "false");
}

std::ostream& any_value_to_cpp(std::ostream& os, Any const& val, std::uint8_t const increment,
                               std::int32_t const indent) {
    return os << val.ToCPP(increment, indent);
}

std::ostream& any_value_to_cpp(std::ostream& os, std::string const& val, std::uint8_t const,
                               std::int32_t const) {
    os << "std::string(";
    printJsonString(os, val);
    return os << ")";
}

std::ostream& any_value_to_cpp(std::ostream& os, bool val, std::uint8_t const, std::int32_t const) {
    return os << (val ? "true" : "false");
}

std::string Any::ToString() const {
    if (Empty()) {
        throw std::logic_error("empty any");
    }
    std::ostringstream text;
    operations_->toString(text, value());
    return text.str();
}

std::string Any::ToStringNoExcept() const {
    return Empty() ? std::string() : ToString();
}

std::string Any::ToJSON(std::uint8_t const increment, std::int32_t const indent) const {
    if (Empty()) {
        return "null";
    }
    std::ostringstream text;
    operations_->toJson(text, value(), increment, indent);
    return text.str();
}

std::string Any::ToJSON(bool prettyPrint) const {
    std::uint8_t const increment = prettyPrint ? prettyIncrement : 0;
    return ToJSON(increment, increment);
}

std::string Any::ToCPP(std::uint8_t const increment, std::int32_t const indent) const {
    if (Empty()) {
        return "null";
    }
    std::ostringstream text;
    operations_->toCpp(text, value(), increment, indent);
    return text.str();
}

std::string Any::ToCPP(bool prettyPrint) const {
    std::uint8_t const increment = prettyPrint ? prettyIncrement : 0;
    return ToCPP(increment, increment);
}

BadAnyCastException::BadAnyCastException(std::string msg)
    : message_(std::move(msg)) {}

BadAnyCastException::~BadAnyCastException() = default;

char const* BadAnyCastException::what() const noexcept {
    return message_.empty() ? "cppmicroservices::BadAnyCastException: "
                              "failed conversion using cppmicroservices::any_cast"
                            : message_.c_str();
}

namespace detail {

void ThrowBadAnyCastException(std::string const& funcName, std::type_info const& source,
                              std::type_info const& target) {
    throw BadAnyCastException("cppmicroservices::BadAnyCastException: " + funcName +
                              ": Failed to convert from cppmicroservices::Any type " + readableName(source) +
                              " to target type " + readableName(target));
}

} // namespace detail

} // namespace cppmicroservices
