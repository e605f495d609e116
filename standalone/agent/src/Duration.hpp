// Durations as people type them.
#ifndef AGENT_PROGRAM_DURATION_HPP
#define AGENT_PROGRAM_DURATION_HPP

#include <chrono>
#include <string>

namespace agent::program {

// "500ms", "30s", "1.5m", "2h"; a number alone is seconds. Throws std::invalid_argument that names the text,
// also when it is negative or more than a year.
std::chrono::milliseconds parseDuration(std::string const& text);

// The shortest of the above: "30s", "1.5s".
std::string formatDuration(std::chrono::milliseconds duration);

} // namespace agent::program

#endif
