// Patterns and the normal form of LDAP filters.
#include "LDAPExpression.hpp"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <utility>

namespace cppmicroservices::detail {

namespace {

// std::strtol and std::strtod: leading white space is skipped and what follows the number is ignored. The
// latter reports a range error for subnormal numbers, too.
template <typename Number, typename Convert>
std::optional<Number> leadingNumber(std::string const& text, Convert convert) {
    char* end = nullptr;
    int const errorBefore = std::exchange(errno, 0);
    Number const number = convert(text.c_str(), &end);
    bool const fits = std::exchange(errno, errorBefore) != ERANGE || std::fpclassify(number) == FP_SUBNORMAL;
    return fits && end != text.c_str() ? std::optional<Number>(number) : std::nullopt;
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Whether a number, an infinity or a "nan" may begin with the character.
bool mayBeginNumber(char c) {
    return isDigit(c) || std::string_view("+-.iInN").find(c) != std::string_view::npos ||
           std::isspace(static_cast<unsigned char>(c)) != 0;
}

// Sets the numbers that a property's type can ask for. Most texts are none, or short whole numbers: those are
// spared the conversions that heed everything.
void setNumbers(LDAPPattern& pattern) {
    constexpr std::size_t digitsExactInDouble = 15;
    auto const& text = pattern.text;
    if (text.empty() || !mayBeginNumber(text.front())) {
        return;
    }
    if (text.size() <= digitsExactInDouble && std::all_of(text.begin(), text.end(), isDigit)) {
        long value = 0;
        for (char const digit : text) {
            value = 10 * value + (digit - '0');
        }
        pattern.integer = value;
        pattern.number = static_cast<double>(value);
        return;
    }
    pattern.integer =
        leadingNumber<long>(text, [](char const* begin, char** end) { return std::strtol(begin, end, 10); });
    pattern.number =
        leadingNumber<double>(text, [](char const* begin, char** end) { return std::strtod(begin, end); });
}

void appendEscaped(std::string& text, std::string const& pattern) {
    for (char const c : pattern) {
        if (c == '\\' || c == '(' || c == ')' || c == '*') {
            text += '\\';
        }
        text += c == wildcard ? '*' : c;
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
        if (auto const code = static_cast<unsigned char>(c); std::isspace(code) == 0) {
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
    setNumbers(pattern);
    pattern.isPresence = pattern.text.size() == 1 && pattern.text.front() == wildcard;
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
