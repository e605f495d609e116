// LDAP filters: strings that follow the grammar, and such strings with a few changes, on random properties.
#include "StartedFramework.hpp"
#include "areas.hpp"
#include "transcript.hpp"
#include "values.hpp"

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/LDAPProp.h>
#include <cppmicroservices/ServiceProperties.h>

#include <initializer_list>
#include <list>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace randomised {

namespace {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using cppmicroservices::LDAPFilter;
using cppmicroservices::LDAPProp;
using cppmicroservices::LDAPPropExpr;

template <class Container>
Any anElement(Any const& value, Random& random) {
    auto const* const container = cppmicroservices::any_cast<Container>(&value);
    if (container == nullptr || container->empty()) {
        return {};
    }
    auto element = container->begin();
    for (auto place = random.below(container->size()); place > 0; --place) {
        ++element;
    }
    return *element;
}

// Unlike with +, the parts are evaluated from left to right, and so are the random choices that they make.
std::string joined(std::initializer_list<std::string_view> parts) {
    std::string text;
    for (auto const part : parts) {
        text += part;
    }
    return text;
}

// The text of a scalar, or of an element.
std::string textWithin(Any const& value, Random& random) {
    if (auto const* text = cppmicroservices::any_cast<std::string>(&value)) {
        return *text;
    }
    for (auto const& element :
         {anElement<std::vector<std::string>>(value, random),
          anElement<std::list<std::string>>(value, random), anElement<std::vector<Any>>(value, random)}) {
        if (!element.Empty()) {
            return textWithin(element, random);
        }
    }
    return value.ToJSON();
}

// Makes random filters, part of which compare with values that given properties have.
class FilterMaker {
public:
    FilterMaker(Random& random, std::vector<AnyMap> const& properties)
        : random_(random)
        , properties_(properties) {}

    std::string makeText() {
        auto text = makeFilter(random_.percent(1) ? 12 : 3);
        if (random_.percent(30)) {
            for (auto changes = 1 + random_.below(3); changes > 0; --changes) {
                change(text);
            }
        }
        return text;
    }

    LDAPPropExpr makeExpression(int depth = 2) {
        if (depth == 0 || random_.percent(40)) {
            LDAPProp const property(randomKey(random_));
            return compare(property, randomValue(random_));
        }
        auto left = makeExpression(depth - 1);
        switch (random_.below(3)) {
        case 0:
            return !left;
        case 1:
            return left && makeExpression(depth - 1);
        default:
            return left || makeExpression(depth - 1);
        }
    }

private:
    std::string makeFilter(int depth) {
        static constexpr char operators[] = {'&', '|', '!'};
        if (depth == 0 || random_.percent(50)) {
            return joined({blanks(), makeComparison(), blanks()});
        }
        char const operation = random_.oneOf(operators);
        std::string filter = joined({blanks(), "(", blanks(), {&operation, 1}});
        for (auto operands = operation == '!' ? 1 : 1 + random_.below(3); operands > 0; --operands) {
            filter += makeFilter(depth - 1);
        }
        return joined({filter, blanks(), ")"});
    }

    std::string makeComparison() {
        static constexpr std::string_view operators[] = {"=", "=", "=", "~=", ">=", "<="};
        auto key = randomKey(random_);
        auto text = randomText(random_);
        auto const& map = random_.oneOf(properties_);
        if (!map.empty() && random_.percent(70)) {
            auto const present = random_.oneOf(sortedKeys(map));
            key = random_.percent(80) ? present : key;
            text = textWithin(map.at(present), random_);
        }
        return joined({"(", blanks(), key, blanks(), random_.oneOf(operators), makePattern(text), ")"});
    }

    // Escapes what would end a value or stand for another text, mostly: what is left unescaped is
    // interesting, too.
    std::string makePattern(std::string const& text) {
        static constexpr std::string_view special = "()\\*";
        bool const escapes = random_.percent(80);
        std::string pattern;
        for (char const character : text) {
            bool const isSpecial = special.find(character) != std::string_view::npos;
            pattern += escapes && isSpecial ? std::string{'\\', character} : std::string{character};
        }
        if (random_.percent(20)) {
            auto const place = random_.below(pattern.size() + 1);
            auto const length = random_.below(4);
            pattern.replace(place, length, random_.percent(80) ? "*" : " ");
        }
        return random_.percent(10) ? "*" : pattern;
    }

    std::string blanks() {
        static constexpr std::string_view characters = "  \t\n\v\r\f";
        return random_.percent(90) ? std::string()
                                   : std::string(1 + random_.below(2), random_.oneOf(characters));
    }

    void change(std::string& filter) {
        static constexpr std::string_view characters = "()()&|!=~<>*\\ \t\na1\x01\x7f\xc3\xff";
        auto const place = random_.below(filter.size() + 1);
        switch (random_.below(4)) {
        case 0:
            filter.insert(place, 1, random_.oneOf(characters));
            break;
        case 1:
            filter.erase(place, 1);
            break;
        case 2:
            filter.insert(place, filter.substr(random_.below(filter.size() + 1)).substr(0, 8));
            break;
        default:
            filter.erase(random_.percent(30) ? place : filter.size());
            break;
        }
    }

    LDAPPropExpr compare(LDAPProp const& property, Any const& value) {
        switch (random_.below(6)) {
        case 0:
            return property == value;
        case 1:
            return property != value;
        case 2:
            return property >= value;
        case 3:
            return property <= value;
        case 4:
            return property.Approx(value);
        default:
            return random_.percent(50) ? property : !property;
        }
    }

    Random& random_;
    std::vector<AnyMap> const& properties_;
};

// One for all cases, whose bundle has properties in its manifest.
struct SharedFramework {
    StartedFramework framework;
    cppmicroservices::Bundle bundle = framework.install("manifest_only");

    static SharedFramework& instance() {
        static SharedFramework shared;
        return shared;
    }
};

bool matchesService(LDAPFilter const& filter, AnyMap const& properties) {
    cppmicroservices::ServiceProperties serviceProperties;
    for (auto const& [key, value] : properties) {
        serviceProperties.emplace(key, value);
    }
    auto registration = SharedFramework::instance().framework.context().RegisterService<int>(
        std::make_shared<int>(), serviceProperties);
    bool const matches = filter.Match(registration.GetReference());
    registration.Unregister();
    return matches;
}

// The exception of properties whose keys differ in case only names one of them: of a hash table, any.
std::string withoutKey(std::string outcome) {
    constexpr std::string_view before = "case variants of the key: ";
    auto const found = outcome.find(before);
    return found == std::string::npos ? outcome : outcome.substr(0, found + before.size());
}

void writeMatches(LDAPFilter const& filter, AnyMap const& properties, std::ostream& transcript) {
    auto const ignoringCase = outcome([&] { return filter.Match(properties); });
    auto const respectingCase = outcome([&] { return filter.MatchCase(properties); });
    bool const hashed = properties.GetType() != AnyMap::ORDERED_MAP;
    transcript << "    Match " << (hashed ? withoutKey(ignoringCase) : ignoringCase) << '\n'
               << "    MatchCase " << (hashed ? withoutKey(respectingCase) : respectingCase) << '\n';
}

// Its text means the same again.
void requireSameFilter(LDAPFilter const& filter, std::string const& text) {
    if (!(LDAPFilter(text) == filter)) {
        throw std::logic_error("the text of a filter makes another filter: " + text);
    }
}

// So many keys that a provider may look for case variants in another way than among few.
AnyMap mapOfManyKeys(Random& random) {
    AnyMap map(randomKind(random));
    for (int i = 0; i < 40; ++i) {
        map[randomKey(random) + std::to_string(random.below(20))] = i;
    }
    return map;
}

LDAPFilter makeFilter(FilterMaker& maker, bool byExpression, std::ostream& transcript) {
    LDAPFilter filter;
    if (byExpression) {
        transcript << "  expression " << outcome([&] {
            std::string text = maker.makeExpression();
            filter = LDAPFilter(text);
            return text;
        }) << '\n';
    } else {
        auto const text = maker.makeText();
        transcript << "  filter " << inQuotes(text) << " -> " << outcome([&] {
            filter = LDAPFilter(text);
            return filter.ToString();
        }) << '\n';
    }
    return filter;
}

} // namespace

void runFilterCase(Random& random, std::ostream& transcript) {
    auto const& bundle = SharedFramework::instance().bundle;
    std::vector<AnyMap> maps{bundle.GetHeaders()};
    for (int i = 0; i < 3; ++i) {
        maps.push_back(randomMap(random, randomKind(random), 6));
    }
    if (random.percent(10)) {
        maps.push_back(mapOfManyKeys(random));
    }
    FilterMaker maker(random, maps);
    auto const filter = makeFilter(maker, random.percent(15), transcript);
    auto const other = makeFilter(maker, random.percent(15), transcript);
    transcript << "  equal " << textOf(filter == other) << '\n';
    if (!filter) {
        return;
    }
    requireSameFilter(filter, filter.ToString());
    for (auto const& properties : maps) {
        transcript << "  properties " << textOf(properties) << '\n';
        writeMatches(filter, properties, transcript);
    }
    transcript << "  the first of a bundle " << outcome([&] { return filter.Match(bundle); }) << '\n'
               << "  the last of a service "
               << withoutKey(outcome([&] { return matchesService(filter, maps.back()); })) << '\n';
}

} // namespace randomised
