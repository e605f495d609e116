// Which reporter is made.
#include "progress/Reporter.hpp"

#include <cstdlib>
#include <string_view>

#include <unistd.h>

#include "progress/LineReporters.hpp"
#include "progress/TableReporter.hpp"

namespace agent::program {

namespace {

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
        return std::make_unique<TableReporter>();
    case ProgressStyle::Json:
        return std::make_unique<JsonReporter>();
    case ProgressStyle::Quiet:
        return std::make_unique<QuietReporter>();
    default:
        return std::make_unique<PlainReporter>();
    }
}

} // namespace agent::program
