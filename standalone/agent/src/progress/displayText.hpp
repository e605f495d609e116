// Text as a terminal shows it.
#ifndef AGENT_PROGRAM_PROGRESS_DISPLAY_TEXT_HPP
#define AGENT_PROGRAM_PROGRESS_DISPLAY_TEXT_HPP

#include <cstddef>
#include <string>
#include <string_view>

namespace agent::program {

// Text that came from elsewhere, fit for one line of a terminal: control characters, and bytes that are not
// UTF-8, are written as escapes.
std::string printable(std::string const& text);

// How many columns a printable text takes: characters of East Asian width two, combining ones none.
std::size_t displayWidth(std::string_view text);

// The beginning of a printable text that fits into so many columns, marked by a last '~' if it is not all of
// it.
std::string shortened(std::string const& text, std::size_t columns);

} // namespace agent::program

#endif
