// One thing that is wrong with a configuration file.
#ifndef AGENT_PROGRAM_CONFIGURATION_PROBLEM_HPP
#define AGENT_PROGRAM_CONFIGURATION_PROBLEM_HPP

#include <cstddef>
#include <string>
#include <vector>

namespace agent::program {

struct Problem {
    std::string where;      // a JSON pointer; empty for the file as a whole and where the text is no JSON
    std::string what;       // what was found and what was expected
    std::size_t line = 0;   // counted from 1; 0: unknown
    std::size_t column = 0; // counted from 1, in bytes; 0: unknown
};

using Problems = std::vector<Problem>;

} // namespace agent::program

#endif
