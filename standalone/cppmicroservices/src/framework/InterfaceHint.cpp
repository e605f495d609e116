// Finds out of a filter expression's text which interface it asks for, so that only services with it need a
// look.
#include "InterfaceHint.hpp"

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

/// Whether the text is a value that stands for itself: no wildcard, no escape, nothing that trimming would
/// change.
bool isPlainValue(std::string_view value) {
    return !value.empty() && value.find_first_of("*\\(") == std::string_view::npos &&
           std::isspace(static_cast<unsigned char>(value.front())) == 0 &&
           std::isspace(static_cast<unsigned char>(value.back())) == 0;
}

} // namespace

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
