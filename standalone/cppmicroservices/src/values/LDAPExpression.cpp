// Patterns and the normal form of LDAP filters.
#include "LDAPExpression.hpp"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <utility>

namespace cppmicroservices::detail {

namespace {

// std::strtol and std::strtod: leading white space is skipped and what follows the number is ignored.
template <typename Number, typename Convert>
std::optional<Number> leadingNumber(std::string const& text, Convert convert) {
    char* end = nullptr;
    int const errorBefore = std::exchange(errno, 0);
    Number const number = convert(text.c_str(), &end);
    bool const fits = std::exchange(errno, errorBefore) != ERANGE;
    return fits && end != text.c_str() ? std::optional<Number>(number) : std::nullopt;
}

void appendEscaped(std::string& text, std::string const& pattern) {
    for (char const c : pattern) {
        if (c == '\\' || c == '(' || c == ')' || c == '*') {
            text += '\\';
        }
        text += c == kWildcard ? '*' : c;
    }
}

char const* textOf(LDAPExpression::Operator operation) {
    using Operator = LDAPExpression::Operator;
    switch (operation) {
    case Operator::And:
        return "&";
    case Operator::Or:
        return "|";
    case Operator::Not:
        return "!";
    case Operator::Equal:
        return "=";
    case Operator::Approximate:
        return "~=";
    case Operator::GreaterOrEqual:
        return ">=";
    case Operator::LessOrEqual:
        break;
    }
    return "<=";
}

} // namespace

std::string normaliseForApproximation(std::string_view text) {
    std::string normal;
    for (char const c : text) {
        if (auto const code = static_cast<unsigned char>(c); !std::isspace(code)) {
            normal += static_cast<char>(std::tolower(code));
        }
    }
    return normal;
}

LDAPPattern makePattern(std::string text, LDAPExpression::Operator operation) {
    LDAPPattern pattern;
    pattern.text = std::move(text);
    if (operation == LDAPExpression::Operator::Approximate) {
        pattern.approximate = normaliseForApproximation(pattern.text);
    }
    pattern.integer = leadingNumber<long>(
        pattern.text, [](char const* begin, char** end) { return std::strtol(begin, end, 10); });
    pattern.number = leadingNumber<double>(
        pattern.text, [](char const* begin, char** end) { return std::strtod(begin, end); });
    pattern.isPresence = pattern.text.size() == 1 && pattern.text.front() == kWildcard;
    return pattern;
}

std::string LDAPExpression::toString() const {
    std::string text;
    appendTo(text);
    return text;
}

void LDAPExpression::appendTo(std::string& text) const {
    text += '(';
    if (operands.empty()) {
        text += attribute;
        text += textOf(operation);
        appendEscaped(text, pattern.text);
    } else {
        text += textOf(operation);
        for (auto const& operand : operands) {
            operand.appendTo(text);
        }
    }
    text += ')';
}

} // namespace cppmicroservices::detail
