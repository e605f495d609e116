// Random values and their texts.
#include "values.hpp"

#include <boost/algorithm/string/replace.hpp>
#include <boost/core/demangle.hpp>

#include <algorithm>
#include <limits>
#include <list>
#include <map>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

namespace randomised {

namespace {

using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;

using namespace std::string_literals;

// Near zero or near a limit of one of the integer types, before or behind it.
std::string randomInteger(Random& random) {
    unsigned const width = 8U << random.below(4);
    auto const limit = random.percent(50) ? 0 : (~std::uint64_t{0} >> (64 - width + random.below(2)));
    auto const number = limit + random.below(5) - 2;
    return (random.percent(30) ? "-" : "") + std::to_string(number);
}

double randomNumber(Random& random) {
    static constexpr double numbers[] = {
        0.0,    -0.0, 0.1,        0.3,  1.0,  1.5,   -1.5,    1e-17,    1e300,
        1e-300, 1e15, 123456.789, 1e21, 3.25, 2e-16, 1.0 / 3, 16777217, std::numeric_limits<double>::max(),
        0x1p-60};
    double const number = random.oneOf(numbers);
    return random.percent(5)    ? std::numeric_limits<double>::infinity()
           : random.percent(5)  ? std::numeric_limits<double>::quiet_NaN()
           : random.percent(20) ? number + static_cast<double>(random.below(100))
                                : number;
}

template <class Integer>
Any anyInteger(Random& random, int) {
    auto const limit = random.percent(50) ? 0 : std::numeric_limits<Integer>::max();
    return static_cast<Integer>(static_cast<std::uint64_t>(limit) + random.below(7) - 3); // wraps around
}

template <class Float>
Any anyFloat(Random& random, int) {
    double const number = randomNumber(random);
    double const largest = std::numeric_limits<Float>::max();
    return static_cast<Float>(number > largest ? 7.0 : number);
}

Any anyChar(Random& random, int) {
    return random.oneOf(" abAB*(\\1\x7f\n\xc3"s);
}

Any anyLiteral(Random& random, int) {
    static constexpr char const* texts[] = {"", "a", "ab", "a*b", "true", "12", " A b "};
    return random.oneOf(texts);
}

template <class Container, class Make>
Any anyOf(Random& random, Make const& make) {
    Container container;
    for (auto size = random.below(4); size > 0; --size) {
        container.insert(container.end(), make());
    }
    return container;
}

template <class Container>
Any anyTexts(Random& random, int) {
    return anyOf<Container>(random, [&] { return randomText(random); });
}

template <class Container>
Any anyNumbers(Random& random, int) {
    using Number = typename Container::value_type;
    return anyOf<Container>(random, [&] { return static_cast<Number>(random.below(3)); });
}

template <class Container>
Any anyValues(Random& random, int depth) {
    return anyOf<Container>(random, [&] { return randomValue(random, depth - 1); });
}

Any anyStandardMap(Random& random, int depth) {
    return anyOf<std::map<std::string, Any>>(random, [&] {
        return std::pair<std::string, Any>{randomKey(random), randomValue(random, depth - 1)};
    });
}

Any anyMap(Random& random, int depth) {
    auto const kind = randomKind(random);
    return randomMap(random, kind, kind == AnyMap::ORDERED_MAP ? 3 : 1, depth - 1);
}

using Make = Any (*)(Random&, int depth);

constexpr Make makeScalar[] = {
    [](Random&, int) { return Any(); },
    [](Random& random, int) { return Any(random.percent(50)); },
    [](Random& random, int) { return Any(randomText(random)); },
    [](Random& random, int) { return Any(randomText(random)); },
    anyChar,
    anyLiteral,
    anyInteger<signed char>,
    anyInteger<unsigned char>,
    anyInteger<short>,
    anyInteger<unsigned short>,
    anyInteger<int>,
    anyInteger<unsigned>,
    anyInteger<long>,
    anyInteger<unsigned long>,
    anyInteger<long long>,
    anyInteger<unsigned long long>,
    anyFloat<float>,
    anyFloat<double>,
};

constexpr Make makeContainer[] = {
    anyTexts<std::vector<std::string>>,
    anyTexts<std::list<std::string>>,
    anyTexts<std::set<std::string>>,
    anyNumbers<std::vector<int>>,
    anyNumbers<std::vector<bool>>,
    anyNumbers<std::vector<double>>,
    anyNumbers<std::list<long>>,
    anyValues<std::vector<Any>>,
    anyValues<std::vector<Any>>,
    anyValues<std::list<Any>>,
    anyStandardMap,
    anyMap,
    anyMap,
};

template <class Container, class Condition>
bool anyElement(Any const& value, Condition const& condition) {
    auto const* const container = any_cast<Container>(&value);
    return container != nullptr && std::any_of(container->begin(), container->end(), condition);
}

// Whether `condition` holds for it or a value nested in it.
template <class Condition>
bool holdsSomewhere(Any const& value, Condition const& condition) {
    auto const inElement = [&](Any const& element) { return holdsSomewhere(element, condition); };
    auto const inEntry = [&](auto const& entry) { return holdsSomewhere(entry.second, condition); };
    return condition(value) || anyElement<std::vector<Any>>(value, inElement) ||
           anyElement<std::list<Any>>(value, inElement) ||
           anyElement<std::map<std::string, Any>>(value, inEntry) || anyElement<AnyMap>(value, inEntry);
}

} // namespace

std::string typeName(Any const& value) {
    auto name = boost::core::demangle(value.Type().name());
    boost::algorithm::replace_all(
        name, "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >",
        "std::string");
    return name;
}

std::string randomText(Random& random) {
    static std::string const words[] = {
        ""s,      "true"s,  "TRUE"s,    "fal"s,    "hello"s, "Hello World"s,
        "1.5"s,   "15e-1"s, "1e400"s,   "1e-400"s, "inf"s,   "NaN"s,
        "0x1p3"s, " 7"s,    "+7"s,      "7 up"s,   ".5"s,    "\xc3\xa4\xc3\x84"s,
        "[1,2]"s, "-"s,     "\"q\"\t"s, "a\0b"s};
    static constexpr std::string_view characters =
        "aabbAB1  *(){}[]\\/\"'=~<>&|!.,:\t\n\v\r\x01\x7f\x80\xc3\xff";
    switch (random.below(4)) {
    case 0:
        return random.oneOf(words);
    case 1:
        return randomInteger(random);
    default:
        break;
    }
    std::string text;
    auto const common = random.percent(70) ? 7 : characters.size();
    for (auto size = random.below(random.percent(2) ? 300 : 6); size > 0; --size) {
        text += characters[random.below(common)];
    }
    return text;
}

std::string randomKey(Random& random) {
    static std::string const keys[] = {"a"s,         "b"s,        "name"s, "count"s, "x.y"s,
                                       "two words"s, "\xc3\xa4"s, "a1"s,   "0"s};
    auto key = random.oneOf(keys);
    if (random.percent(20)) {
        auto& letter = key[random.below(key.size())];
        letter = letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
    }
    return key;
}

Any randomValue(Random& random, int depth) {
    bool const isContainer = depth > 0 && random.percent(30);
    return isContainer ? random.oneOf(makeContainer)(random, depth) : random.oneOf(makeScalar)(random, depth);
}

AnyMap::map_type randomKind(Random& random) {
    static constexpr AnyMap::map_type kinds[] = {AnyMap::ORDERED_MAP, AnyMap::UNORDERED_MAP,
                                                 AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS};
    return random.oneOf(kinds);
}

AnyMap randomMap(Random& random, AnyMap::map_type kind, std::size_t maximumSize, int depth) {
    AnyMap map(kind);
    for (auto size = random.below(maximumSize + 1); size > 0; --size) {
        auto const key = randomKey(random);
        map[key] = randomValue(random, depth);
    }
    return map;
}

std::vector<std::string> sortedKeys(AnyMap const& map) {
    std::vector<std::string> keys;
    for (auto const& entry : map) {
        keys.push_back(entry.first);
    }
    std::sort(keys.begin(), keys.end());
    return keys;
}

bool holdsEmpty(Any const& value) {
    return holdsSomewhere(value, [](Any const& any) { return any.Empty(); });
}

bool hasManyTexts(Any const& value) {
    return holdsSomewhere(value, [](Any const& any) {
        auto const* const map = any_cast<AnyMap>(&any);
        return map != nullptr && map->GetType() != AnyMap::ORDERED_MAP && map->size() > 1;
    });
}

} // namespace randomised
