// Reading a text as JSON, more strictly than the grammar: a name occurs once in an object, nesting has a
// limit, numbers and texts arrive as they are written.
#ifndef AGENT_PROGRAM_CONFIGURATION_JSON_DOCUMENT_HPP
#define AGENT_PROGRAM_CONFIGURATION_JSON_DOCUMENT_HPP

#include <cstddef>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "configuration/Problem.hpp"

namespace agent::program {

// Deeper nesting than this is refused: what reads the document is recursive.
inline constexpr std::size_t maximumNesting = 64;

// Where a JSON value is moved nothing throws; only its assertions fail.
// NOLINTNEXTLINE(bugprone-exception-escape)
struct JsonDocument {
    nlohmann::json root;  // of duplicate members the last; null if the text is not readable
    Problems problems;    // a syntax error, or everything that is stricter than the grammar
    bool readable = true; // false: a syntax error or nesting beyond the limit
};

JsonDocument parseJson(std::string_view text);

// Gives every problem of a readable text its line: that of the value that it points to, or of its member's
// name; of one that is not there, that of the innermost value around it.
void findLines(std::string_view text, Problems& problems);

// The pointer to a member or an element of what `pointer` points to.
std::string memberPointer(std::string const& pointer, std::string_view name);
std::string elementPointer(std::string const& pointer, std::size_t index);

// A value as a message shows it: in JSON, ASCII only, cut after a few dozen characters.
std::string excerpt(nlohmann::json const& value);

} // namespace agent::program

#endif
