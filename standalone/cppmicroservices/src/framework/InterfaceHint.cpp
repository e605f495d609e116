// Finds out of a filter expression's text which interface it asks for, so that only services with it need a
// look.
#include "InterfaceHint.hpp"

#include "../values/KeyText.hpp"
#include "../values/LDAPExpression.hpp"
#include "cppmicroservices/Constants.h"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace cppmicroservices::detail {

namespace {

bool startsWithIgnoringCase(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() &&
           std::equal(prefix.begin(), prefix.end(), text.begin(), [](char a, char b) {
               return std::tolower(static_cast<unsigned char>(a)) ==
                      std::tolower(static_cast<unsigned char>(b));
           });
}

// Whether the text is a value that stands for itself: no wildcard, no escape, nothing that trimming would
// change.
bool isPlainValue(std::string_view value) {
    return !value.empty() && value.find_first_of("*\\(") == std::string_view::npos &&
           std::isspace(static_cast<unsigned char>(value.front())) == 0 &&
           std::isspace(static_cast<unsigned char>(value.back())) == 0;
}

bool containsIgnoringCase(std::string_view text, std::string_view part) {
    for (; text.size() >= part.size(); text.remove_prefix(1)) {
        if (startsWithIgnoringCase(text, part)) {
            return true;
        }
    }
    return false;
}

bool namesInterfaces(LDAPExpression const& expression) {
    using Operator = LDAPExpression::Operator;
    auto const names = [](LDAPExpression const& operand) { return namesInterfaces(operand); };
    auto const& operands = expression.operands;
    switch (expression.operation) {
    case Operator::And:
        return std::any_of(operands.begin(), operands.end(), names);
    case Operator::Or:
        return std::all_of(operands.begin(), operands.end(), names);
    case Operator::Equal:
        return equalFolded(expression.attribute, Constants::OBJECTCLASS) &&
               expression.pattern.text.find(wildcard) == std::string::npos;
    default:
        return false;
    }
}

} // namespace

bool namesInterfaces(std::string const& filter) {
    // Most filters do not even mention it, and need no second look.
    return containsIgnoringCase(filter, Constants::OBJECTCLASS) &&
           namesInterfaces(LDAPExpression::parse(filter));
}

InterfaceHint interfaceHint(std::string const& filter) {
    std::string_view rest = filter;
    bool const conjunction = startsWithIgnoringCase(rest, "(&");
    if (conjunction) {
        rest.remove_prefix(2);
    }
    if (!startsWithIgnoringCase(rest, "(" + Constants::OBJECTCLASS + "=")) {
        return {};
    }
    rest.remove_prefix(Constants::OBJECTCLASS.size() + 2);
    auto const end = rest.find(')');
    if (end == std::string_view::npos || !isPlainValue(rest.substr(0, end))) {
        return {};
    }
    InterfaceHint hint;
    hint.interfaceId = rest.substr(0, end);
    rest.remove_prefix(end + 1);
    hint.complete = !conjunction && rest.empty();
    if (conjunction && !rest.empty() && rest.front() == '(') {
        hint.remainder.append("(&").append(rest);
    }
    return hint;
}

} // namespace cppmicroservices::detail
