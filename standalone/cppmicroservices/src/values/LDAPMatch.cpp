// Finding the properties that a filter names, and comparing them as their types ask.
#include "LDAPMatch.hpp"

#include "KeyText.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <list>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace cppmicroservices::detail {

namespace {

using Operator = LDAPExpression::Operator;

template <typename T>
bool compareOrdered(Operator operation, T const& value, T const& limit) {
    return operation == Operator::GreaterOrEqual ? value >= limit : value <= limit;
}

bool isEquality(Operator operation) {
    return operation == Operator::Equal || operation == Operator::Approximate;
}

// Greedy: on a mismatch only the last wildcard has to take one character more.
bool matchesWildcards(std::string_view text, std::string_view pattern) {
    constexpr auto none = std::string_view::npos;
    std::size_t t = 0;
    std::size_t p = 0;
    std::size_t lastWildcard = none;
    std::size_t resumeAt = 0;
    while (t < text.size()) {
        if (p < pattern.size() && pattern[p] == wildcard) {
            lastWildcard = p++;
            resumeAt = t;
        } else if (p < pattern.size() && pattern[p] == text[t]) {
            ++p;
            ++t;
        } else if (lastWildcard != none) {
            p = lastWildcard + 1;
            t = ++resumeAt;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of(wildcard, p) == none;
}

bool matchesText(Operator operation, LDAPPattern const& pattern, std::string_view text) {
    switch (operation) {
    case Operator::Equal:
        return matchesWildcards(text, pattern.text);
    case Operator::Approximate:
        return normaliseForApproximation(text) == pattern.approximate;
    default:
        return compareOrdered(operation, text, std::string_view(pattern.text));
    }
}

bool matchesBool(Operator operation, LDAPPattern const& pattern, bool value) {
    std::string_view const name = value ? "true" : "false";
    return isEquality(operation) && equalFolded(name.substr(0, pattern.text.size()), pattern.text);
}

// The filter's number is converted to the property's type, wrapping around like any conversion of integers.
template <typename Integer>
bool matchesInteger(Operator operation, LDAPPattern const& pattern, Integer value) {
    if (!pattern.integer) {
        return false;
    }
    auto const number = static_cast<Integer>(*pattern.integer);
    return isEquality(operation) ? value == number : compareOrdered(operation, value, number);
}

// Numbers whose difference the property's type cannot tell from 0 are equal.
template <typename Float>
bool matchesFloat(Operator operation, LDAPPattern const& pattern, Float value) {
    if (!pattern.number) {
        return false;
    }
    double const held = value;
    return isEquality(operation)
               ? std::abs(held - *pattern.number) < static_cast<double>(std::numeric_limits<Float>::epsilon())
               : compareOrdered(operation, held, *pattern.number);
}

bool matchesValue(Operator operation, LDAPPattern const& pattern, Any const& value);

template <typename Strings>
bool matchesAnyText(Operator operation, LDAPPattern const& pattern, Strings const& strings) {
    return std::any_of(strings.begin(), strings.end(),
                       [&](std::string const& text) { return matchesText(operation, pattern, text); });
}

bool matchesAnyValue(Operator operation, LDAPPattern const& pattern, std::vector<Any> const& values) {
    return std::any_of(values.begin(), values.end(),
                       [&](Any const& value) { return matchesValue(operation, pattern, value); });
}

// Calls `match` with the value if it is of type T, and tells whether it was.
template <typename T, typename Match>
bool tryType(Any const& value, bool& result, Match match) {
    T const* const held = any_cast<T>(&value);
    if (held) {
        result = match(*held);
    }
    return held != nullptr;
}

template <typename... Integers>
bool tryIntegers(Operator operation, LDAPPattern const& pattern, Any const& value, bool& result) {
    return (tryType<Integers>(value, result,
                              [&](Integers held) { return matchesInteger(operation, pattern, held); }) ||
            ...);
}

template <typename... Floats>
bool tryFloats(Operator operation, LDAPPattern const& pattern, Any const& value, bool& result) {
    return (
        tryType<Floats>(value, result, [&](Floats held) { return matchesFloat(operation, pattern, held); }) ||
        ...);
}

bool matchesValue(Operator operation, LDAPPattern const& pattern, Any const& value) {
    if (value.Empty()) {
        return false;
    }
    if (operation == Operator::Equal && pattern.isPresence) {
        return true;
    }
    bool result = false;
    auto const text = [&](auto const& held) { return matchesText(operation, pattern, held); };
    auto const texts = [&](auto const& held) { return matchesAnyText(operation, pattern, held); };
    // The usual types of service properties come first.
    (void)(tryType<std::string>(value, result, text) ||
           tryType<std::vector<std::string>>(value, result, texts) ||
           tryIntegers<int, long>(operation, pattern, value, result) ||
           tryType<bool>(value, result, [&](bool held) { return matchesBool(operation, pattern, held); }) ||
           tryType<std::list<std::string>>(value, result, texts) ||
           tryType<std::vector<Any>>(
               value, result, [&](auto const& held) { return matchesAnyValue(operation, pattern, held); }) ||
           tryType<char>(value, result, [&](char held) { return text(std::string_view(&held, 1)); }) ||
           tryType<char const*>(value, result,
                                [&](char const* held) { return held != nullptr && text(held); }) ||
           tryIntegers<unsigned, unsigned long, long long, unsigned long long, short, unsigned short,
                       unsigned char>(operation, pattern, value, result) ||
           tryFloats<double, float>(operation, pattern, value, result));
    return result;
}

struct FoldedHash {
    std::size_t operator()(std::string_view key) const noexcept { return hashFolded(key); }
};

struct FoldedEqual {
    bool operator()(std::string_view left, std::string_view right) const noexcept {
        return equalFolded(left, right);
    }
};

using FoldedKeys = std::unordered_set<std::string_view, FoldedHash, FoldedEqual>;

// Finds the values that a filter's attributes name.
class Properties {
public:
    Properties(AnyMap const& map, KeyCase keyCase)
        : map_(map)
        , keyCase_(keyCase) {
        if (!keysIgnoreCase()) {
            requireKeysDifferInMoreThanCase();
        }
    }

    Any const* find(std::string const& key) const {
        if (keyCase_ == KeyCase::Respected || keysIgnoreCase()) {
            auto const entry = map_.find(key);
            bool const found = entry != map_.end() && (keyCase_ == KeyCase::Ignored || entry->first == key);
            return found ? &entry->second : nullptr;
        }
        for (auto const& [name, value] : map_) {
            if (equalFolded(name, key)) {
                return &value;
            }
        }
        return nullptr;
    }

private:
    bool keysIgnoreCase() const { return map_.GetType() == AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS; }

    void requireKeysDifferInMoreThanCase() const {
        constexpr std::size_t fewKeys = 16;
        std::string const* const variant =
            map_.size() <= fewKeys ? findCaseVariant(map_) : findVariantAmongMany();
        if (variant) {
            throw std::runtime_error("Properties contain case variants of the key: " + *variant);
        }
    }

    // As findCaseVariant(), in time that does not grow with the square of their number.
    std::string const* findVariantAmongMany() const {
        FoldedKeys seen(map_.size());
        FoldedKeys repeated;
        for (auto const& entry : map_) {
            if (!seen.insert(entry.first).second) {
                repeated.insert(entry.first);
            }
        }
        if (repeated.empty()) {
            return nullptr;
        }
        auto const first = std::find_if(map_.begin(), map_.end(),
                                        [&](auto const& entry) { return repeated.count(entry.first) != 0; });
        return &first->first;
    }

    AnyMap const& map_;
    KeyCase const keyCase_;
};

bool evaluate(LDAPExpression const& expression, Properties const& properties) {
    auto const holds = [&](LDAPExpression const& operand) { return evaluate(operand, properties); };
    auto const& operands = expression.operands;
    switch (expression.operation) {
    case Operator::And:
        return std::all_of(operands.begin(), operands.end(), holds);
    case Operator::Or:
        return std::any_of(operands.begin(), operands.end(), holds);
    case Operator::Not:
        return !holds(operands.front());
    default:
        break;
    }
    Any const* const value = properties.find(expression.attribute);
    return value != nullptr && matchesValue(expression.operation, expression.pattern, *value);
}

} // namespace

bool matches(LDAPExpression const& expression, AnyMap const& properties, KeyCase keyCase) {
    return evaluate(expression, Properties(properties, keyCase));
}

} // namespace cppmicroservices::detail
