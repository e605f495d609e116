// Which reporter is made.
#include "progress/Reporter.hpp"

#include <cstdlib>
#include <string_view>

#include <unistd.h>

#include "progress/LineReporters.hpp"
#include "progress/TableReporter.hpp"

namespace agent::program {

namespace {

bool isSet(char const* variable) {
    auto const* const value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

bool canBeDrawnOn(int descriptor) {
    auto const* const terminal = std::getenv("TERM");
    return isatty(descriptor) != 0 && terminal != nullptr && std::string_view(terminal) != "dumb";
}

} // namespace

std::unique_ptr<Reporter> makeReporter(ProgressStyle style) {
    if (style == ProgressStyle::Automatic) {
        style = canBeDrawnOn(STDERR_FILENO) ? ProgressStyle::Table : ProgressStyle::Plain;
    }
    switch (style) {
    case ProgressStyle::Table:
        return std::make_unique<TableReporter>(!isSet("NO_COLOR"));
    case ProgressStyle::Json:
        return std::make_unique<JsonReporter>();
    case ProgressStyle::Quiet:
        return std::make_unique<QuietReporter>();
    default:
        return std::make_unique<PlainReporter>();
    }
}

} // namespace agent::program
