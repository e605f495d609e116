// AnyMap: random sequences of operations on maps of every kind.
#include "areas.hpp"
#include "transcript.hpp"
#include "values.hpp"

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace randomised {

namespace {

using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;

class MapCase {
public:
    MapCase(Random& random, std::ostream& transcript)
        : random_(random)
        , transcript_(transcript) {
        for (int i = 0; i < 3; ++i) {
            maps_.emplace_back(randomKind(random));
        }
    }

    void runStep() {
        static constexpr Step steps[] = {{"insert", &MapCase::insert},
                                         {"emplace", &MapCase::emplace},
                                         {"assign", &MapCase::assign},
                                         {"assign", &MapCase::assign},
                                         {"touch", &MapCase::touch},
                                         {"at", &MapCase::at},
                                         {"find", &MapCase::find},
                                         {"erase", &MapCase::erase},
                                         {"clear", &MapCase::clear},
                                         {"copy", &MapCase::copy},
                                         {"move", &MapCase::move},
                                         {"compare", &MapCase::compare},
                                         {"convert", &MapCase::convert},
                                         {"nest", &MapCase::nest},
                                         {"change", &MapCase::change},
                                         {"compound key", &MapCase::atCompoundKey},
                                         {"compound key", &MapCase::atCompoundKey},
                                         {"default", &MapCase::atCompoundKeyOrDefault},
                                         {"default", &MapCase::atCompoundKeyOrDefault},
                                         {"texts", &MapCase::texts},
                                         {"iterate", &MapCase::iterate}};
        auto const& step = random_.oneOf(steps);
        auto const map = random_.below(maps_.size());
        transcript_ << "  " << step.name << " [" << map << "] " << (this->*step.run)(maps_[map]) << '\n';
    }

    void writeMaps() {
        for (auto const& map : maps_) {
            transcript_ << "  " << textOf(map) << '\n';
        }
    }

private:
    struct Step {
        std::string_view name;
        std::string (MapCase::*run)(AnyMap& map);
    };

    // In some cases there are so many keys that maps grow large.
    std::string makeKey() {
        auto const key = randomKey(random_);
        return manyKeys_ ? key + std::to_string(random_.below(100)) : key;
    }

    AnyMap& otherMap() { return maps_[random_.below(maps_.size())]; }

    static std::string textOfEntry(std::pair<std::string const, Any> const& entry) {
        return inQuotes(entry.first) + ": " + textOf(entry.second);
    }

    std::string insert(AnyMap& map) {
        auto const key = makeKey();
        auto const [place, isNew] = map.insert({key, randomValue(random_)});
        return textOfEntry(*place) + (isNew ? " is new" : " was there");
    }

    std::string emplace(AnyMap& map) {
        auto const key = makeKey();
        auto const [place, isNew] = map.emplace(key, randomValue(random_));
        return textOfEntry(*place) + (isNew ? " is new" : " was there");
    }

    std::string assign(AnyMap& map) {
        std::string keys;
        for (auto count = manyKeys_ ? random_.below(20) : 1; count > 0; --count) {
            auto key = makeKey();
            keys += inQuotes(key);
            auto value = randomValue(random_);
            (random_.percent(50) ? map[key] : map[std::move(key)]) = std::move(value);
        }
        return keys;
    }

    std::string touch(AnyMap& map) {
        auto const key = makeKey();
        return inQuotes(key) + ": " + textOf(map[key]) + ", size " + std::to_string(map.size());
    }

    std::string at(AnyMap& map) {
        auto const key = makeKey();
        return inQuotes(key) + ": " + outcome([&] { return map.at(key); });
    }

    std::string find(AnyMap& map) {
        auto const key = makeKey();
        auto const place = std::as_const(map).find(key);
        return inQuotes(key) + " " + std::to_string(map.count(key)) + " " +
               (place == map.end() ? "none" : textOfEntry(*place));
    }

    std::string erase(AnyMap& map) {
        auto const key = makeKey();
        return inQuotes(key) + " " + std::to_string(map.erase(key)) + ", size " + std::to_string(map.size());
    }

    std::string clear(AnyMap& map) {
        if (random_.percent(80)) {
            return "not";
        }
        map.clear();
        return textOf(map.empty());
    }

    std::string copy(AnyMap& map) {
        AnyMap& source = otherMap();
        if (random_.percent(50)) {
            map = source;
        } else {
            AnyMap const copied(source);
            map = copied;
        }
        if (textOf(map) != textOf(source)) {
            throw std::logic_error("a copy differs: " + textOf(map) + " from " + textOf(source));
        }
        return textOf(map);
    }

    // What was moved from is undefined with the installed provider until it is assigned to; moving to itself
    // crashes.
    std::string move(AnyMap& map) {
        AnyMap& source = otherMap();
        if (&source == &map) {
            return "not";
        }
        if (random_.percent(50)) {
            map = std::move(source);
        } else {
            map = AnyMap(std::move(source));
        }
        source = randomMap(random_, randomKind(random_), 3);
        return textOf(map);
    }

    std::string compare(AnyMap& map) {
        AnyMap const& other = otherMap();
        if (holdsEmpty(map) || holdsEmpty(other)) { // the installed provider crashes
            return "not";
        }
        return textOf(map == other) + textOf(map != other) + textOf(AnyMap(other) == other);
    }

    template <class Container>
    static AnyMap converted(AnyMap const& map, bool moves) {
        Container container;
        for (auto const& key : sortedKeys(map)) {
            container.emplace(key, map.at(key));
        }
        return moves ? AnyMap(std::move(container)) : AnyMap(container);
    }

    std::string convert(AnyMap& map) {
        bool const moves = random_.percent(50);
        switch (randomKind(random_)) {
        case AnyMap::ORDERED_MAP:
            map = converted<AnyMap::ordered_any_map>(map, moves);
            break;
        case AnyMap::UNORDERED_MAP:
            map = converted<AnyMap::unordered_any_map>(map, moves);
            break;
        default:
            map = converted<AnyMap::unordered_any_cimap>(map, moves);
            break;
        }
        return textOf(map);
    }

    std::string nest(AnyMap& map) {
        constexpr std::size_t longest = 2000; // lest it doubles in each step
        auto const key = makeKey();
        Any nested = otherMap();
        if (textOf(nested).size() > longest) {
            return "not";
        }
        map[key] = random_.percent(50) ? nested : Any(std::vector<Any>{1, nested});
        return inQuotes(key);
    }

    // A nested map, in place.
    std::string change(AnyMap& map) {
        auto const key = makeKey();
        if (map.count(key) == 0) {
            return "none";
        }
        auto* const nested = any_cast<AnyMap>(&map.at(key));
        return nested != nullptr ? assign(*nested) : textOf(map.at(key).Empty());
    }

    // Such that it often leads somewhere.
    std::string compoundKey(AnyMap const& map) {
        static constexpr std::string_view indices[] = {"0",  "1",           "2",          "-1",         "-2",
                                                       " 1", "+0",          "1x",         "x",          "",
                                                       "-0", "99999999999", "2147483647", "-2147483648"};
        std::string path;
        Any value = map;
        for (auto names = 1 + random_.below(4); names > 0; --names) {
            auto const* const nested = any_cast<AnyMap>(&value);
            auto const* const elements = any_cast<std::vector<Any>>(&value);
            std::string name = random_.percent(70) ? makeKey() : std::string(random_.oneOf(indices));
            if (nested != nullptr && !nested->empty() && random_.percent(85)) {
                name = random_.oneOf(sortedKeys(*nested));
                value = Any(nested->at(name));
            } else if (elements != nullptr && !elements->empty() && random_.percent(85)) {
                auto const index = random_.below(elements->size());
                bool const fromEnd = random_.percent(50);
                name = fromEnd ? "-" + std::to_string(elements->size() - index) : std::to_string(index);
                value = Any((*elements)[index]);
            }
            path += (path.empty() ? "" : ".") + name;
        }
        return path + (random_.percent(5) ? "." : "");
    }

    std::string atCompoundKey(AnyMap& map) {
        auto const key = compoundKey(map);
        return inQuotes(key) + ": " + outcome([&] { return map.AtCompoundKey(key); });
    }

    std::string atCompoundKeyOrDefault(AnyMap& map) {
        auto const key = compoundKey(map);
        return inQuotes(key) + ": " + textOf(map.AtCompoundKey(key, std::string("default")));
    }

    std::string texts(AnyMap& map) {
        Any const value = map;
        if (hasManyTexts(value)) {
            return "many";
        }
        return outcome([&] { return value.ToString(); }) + " " + outcome([&] { return value.ToJSON(); });
    }

    std::string iterate(AnyMap& map) {
        std::vector<std::string> keys;
        for (auto place = map.begin(); place != map.end();) {
            keys.push_back(inQuotes((place++)->first));
        }
        auto const distance = std::distance(map.cbegin(), map.cend());
        if (map.GetType() != AnyMap::ORDERED_MAP) {
            std::sort(keys.begin(), keys.end());
        }
        std::string text = std::to_string(distance);
        for (auto const& key : keys) {
            text += " " + key;
        }
        return text;
    }

    Random& random_;
    std::ostream& transcript_;
    std::vector<AnyMap> maps_;
    bool const manyKeys_ = random_.percent(5);
};

} // namespace

void runMapCase(Random& random, std::ostream& transcript) {
    MapCase maps(random, transcript);
    for (auto steps = random.percent(5) ? 500 : 40; steps > 0; --steps) {
        maps.runStep();
    }
    maps.writeMaps();
}

} // namespace randomised
