// One thing that is wrong with a configuration file.
#ifndef AGENT_PROGRAM_CONFIGURATION_PROBLEM_HPP
#define AGENT_PROGRAM_CONFIGURATION_PROBLEM_HPP

#include <string>
#include <vector>

namespace agent::program {

struct Problem {
    std::string where; // a JSON pointer, "line 3, column 5", or empty for the file as a whole
    std::string what;  // what was found and what was expected

    friend bool operator==(Problem const& left, Problem const& right) {
        return left.where == right.where && left.what == right.what;
    }
};

using Problems = std::vector<Problem>;

} // namespace agent::program

#endif
