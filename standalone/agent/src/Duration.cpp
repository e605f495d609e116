// Durations as people type them.
#include "Duration.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>
#include <stdexcept>
#include <string_view>

#include <fmt/format.h>

namespace agent::program {

std::chrono::milliseconds parseDuration(std::string const& text) {
    static std::map<std::string_view, double> const millisecondsPerUnit{
        {"ms", 1}, {"", 1000}, {"s", 1000}, {"m", 60'000}, {"h", 3'600'000}};
    constexpr double aYear = 365.0 * 24 * 3'600'000;
    double number = 0;
    auto const* const end = text.data() + text.size();
    auto const [rest, error] = std::from_chars(text.data(), end, number, std::chars_format::fixed);
    auto const unit = millisecondsPerUnit.find(std::string_view(rest, static_cast<std::size_t>(end - rest)));
    if (error != std::errc() || unit == millisecondsPerUnit.end() || !(number >= 0) ||
        number * unit->second > aYear) {
        throw std::invalid_argument(
            "'" + text + "' is no duration; expected one such as 500ms, 30s or 2m, of a year at most");
    }
    auto const milliseconds = std::chrono::milliseconds(std::llround(number * unit->second));
    return number > 0 ? std::max(milliseconds, std::chrono::milliseconds(1))
                      : milliseconds; // zero is another word
}

std::string formatDuration(std::chrono::milliseconds duration) {
    return fmt::format("{}s", static_cast<double>(duration.count()) / 1000);
}

} // namespace agent::program
