// Any: texts, casts, comparisons, and what copying and moving leave behind.
#include "areas.hpp"
#include "transcript.hpp"
#include "values.hpp"

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>

#include <cstdint>
#include <map>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace randomised {

namespace {

using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;
using cppmicroservices::ref_any_cast;

template <class Value>
std::string castOutcome(Any& value, Random& random) {
    Any const& constant = value;
    switch (random.below(4)) {
    case 0:
        return outcome([&] { return Any(any_cast<Value>(value)); });
    case 1:
        return outcome([&] { return Any(ref_any_cast<Value>(value)); });
    case 2:
        return outcome([&] { return Any(ref_any_cast<Value>(constant)); });
    default:
        return textOf(any_cast<Value>(&value) != nullptr);
    }
}

using Cast = std::string (*)(Any&, Random&);

constexpr Cast casts[] = {
    castOutcome<bool>,
    castOutcome<char>,
    castOutcome<unsigned char>,
    castOutcome<int>,
    castOutcome<unsigned long>,
    castOutcome<long long>,
    castOutcome<float>,
    castOutcome<double>,
    castOutcome<std::string>,
    castOutcome<char const*>,
    castOutcome<std::vector<std::string>>,
    castOutcome<std::vector<Any>>,
    castOutcome<std::map<std::string, Any>>,
    castOutcome<AnyMap>,
};

// The first release has no C++ form.
template <class Value, class = void>
struct CppForm {
    static std::string of(Value const&, std::uint8_t, int) { return {}; }
};
template <class Value>
struct CppForm<Value, std::void_t<decltype(std::declval<Value const&>().ToCPP(0, 0))>> {
    static std::string of(Value const& value, std::uint8_t increment, int indent) {
        return value.ToCPP() + value.ToCPP(true) + value.ToCPP(increment, indent);
    }
};

std::string comparison(Any const& left, Any const& right) {
    // An empty one on the right, or an empty element, makes the installed provider crash.
    return holdsEmpty(left) || holdsEmpty(right) ? "not compared" : textOf(left == right);
}

// Behind a control character, the installed provider indents with zeros instead of blanks.
bool isIndentedRight(Any const& value) {
    return value.ToJSON().find("\\u") == std::string::npos;
}

void writeTexts(Any const& value, Random& random, std::ostream& transcript) {
    transcript << "  text " << outcome([&] { return value.ToString(); }) << '\n'
               << "  text, if any " << outcome([&] { return value.ToStringNoExcept(); }) << '\n'
               << "  streamed " << outcome([&] {
                      std::ostringstream stream;
                      stream.precision(3);
                      any_value_to_string(stream, value);
                      stream << 1.0 / 3; // by what is left of the settings of the stream
                      return stream.str();
                  })
               << '\n';
    if (!isIndentedRight(value)) {
        return;
    }
    auto const increment = static_cast<std::uint8_t>(random.below(5));
    auto const indent = static_cast<int>(random.below(9));
    transcript << "  JSON, pretty " << outcome([&] { return value.ToJSON(true); }) << '\n'
               << "  JSON, " << int{increment} << " and " << indent << ' '
               << outcome([&] { return value.ToJSON(increment, indent); }) << '\n'
               << "  C++ " << outcome([&] { return CppForm<Any>::of(value, increment, indent); }) << '\n';
}

} // namespace

void runAnyCase(Random& random, std::ostream& transcript) {
    auto value = randomValue(random, 4);
    auto other = randomValue(random, 4);
    transcript << "  value " << textOf(value) << '\n' << "  other " << textOf(other) << '\n';
    writeTexts(value, random, transcript);
    for (int i = 0; i < 4; ++i) {
        auto const cast = random.below(std::size(casts));
        transcript << "  cast " << cast << ' ' << casts[cast](value, random) << '\n';
    }
    Any const copy = value;
    transcript << "  equals the other " << comparison(value, other) << '\n'
               << "  equals its copy " << comparison(value, copy) << '\n'
               << "  equals 0 " << textOf(value == 0) << ", a text " << textOf(value == std::string("a"))
               << ", the same characters " << textOf(value != "a") << '\n';
    Any moved = std::move(value);
    transcript << "  moved " << textOf(moved) << ", left " << textOf(value) << '\n'; // empty, as documented
    moved.Swap(other);
    value = std::move(other);
    transcript << "  swapped " << textOf(moved) << ", left " << textOf(value) << textOf(other.Empty())
               << '\n';
}

} // namespace randomised
