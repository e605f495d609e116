// The command line: verbs and their options.
#ifndef AGENT_PROGRAM_COMMAND_LINE_HPP
#define AGENT_PROGRAM_COMMAND_LINE_HPP

#include <string>
#include <variant>

#include "run/RunSession.hpp"

namespace agent::program {

enum class Verb { Run, Validate, Show, Schema, Legacy };

struct CommandLine {
    Verb verb = Verb::Run;
    std::string file;
    std::string installationRoot; // empty: the default
    std::string runtimeDirectory; // empty: the default
    bool watch = false;
    ProgressStyle progress = ProgressStyle::Automatic;
    RunOptions run;
};

// The command line, or the exit status when it was answered here: help, the version, an error of usage.
std::variant<CommandLine, int> parseCommandLine(int argc, char** argv);

} // namespace agent::program

#endif
