// What reporters do alike, and which one is made.
#include "progress/Reporter.hpp"

#include <cerrno>
#include <cstdlib>
#include <string_view>

#include <unistd.h>

#include "progress/LineReporters.hpp"
#include "progress/TableReporter.hpp"
#include "progress/displayText.hpp"

namespace agent::program {

namespace {

// The value of an environment variable, empty if there is none. The program never changes its environment.
std::string_view environment(char const* variable) {
    auto const* const value = std::getenv(variable); // NOLINT(concurrency-mt-unsafe): see above
    return value == nullptr ? std::string_view() : value;
}

bool canBeDrawnOn(int descriptor) {
    auto const terminal = environment("TERM");
    return isatty(descriptor) != 0 && !terminal.empty() && terminal != "dumb";
}

} // namespace

bool Reporter::result(std::string const& line) {
    return write(stdout, printable(line) + '\n');
}

bool Reporter::write(std::FILE* stream, std::string const& text) {
    errno = 0;
    bool const isWritten = std::fwrite(text.data(), 1, text.size(), stream) == text.size();
    return (std::fflush(stream) == 0 && isWritten) || errno == EPIPE;
}

std::unique_ptr<Reporter> makeReporter(ProgressStyle style) {
    if (style == ProgressStyle::Automatic) {
        style = canBeDrawnOn(STDERR_FILENO) ? ProgressStyle::Table : ProgressStyle::Plain;
    }
    switch (style) {
    case ProgressStyle::Table:
        return std::make_unique<TableReporter>(environment("NO_COLOR").empty());
    case ProgressStyle::Json:
        return std::make_unique<JsonReporter>();
    case ProgressStyle::Quiet:
        return std::make_unique<QuietReporter>();
    default:
        return std::make_unique<PlainReporter>();
    }
}

} // namespace agent::program
