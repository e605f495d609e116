// spf-agent: applies a configuration file to a service framework in its own process.
#include <cstdio>
#include <exception>
#include <iostream>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>

#include <CLI/CLI.hpp>
#include <boost/log/utility/setup/console.hpp>

#include "Duration.hpp"
#include "ExitStatus.hpp"
#include "agent/host/standalone/StandaloneHost.hpp"
#include "configuration/ConfigurationFile.hpp"
#include "progress/LineReporters.hpp"
#include "run/RunSession.hpp"
#include "run/SignalThread.hpp"

namespace {

using namespace agent::program;

struct CommandLine {
    std::string file;
    std::string installationRoot;
    std::string runtimeDirectory;
    RunOptions run;
};

void complain(std::string const& text) {
    std::fprintf(stderr, "%s\n", printable(text).c_str());
}

// The configuration of a file; nothing if it is not valid, which has been said then.
std::optional<ConfigurationFile> loadConfiguration(std::string const& file) {
    auto const name = file == "-" ? std::string("standard input") : file;
    try {
        auto parsed = parseConfiguration(readConfigurationText(file));
        for (auto const& problem : parsed.problems) {
            complain(name + ": " + (problem.where.empty() ? "" : problem.where + ": ") + problem.what);
        }
        if (parsed.problems.empty()) {
            return std::move(parsed.configuration);
        }
    } catch (std::runtime_error const& error) {
        complain(name + ": " + error.what());
    }
    return std::nullopt;
}

int validate(CommandLine const& line) {
    auto const configuration = loadConfiguration(line.file);
    if (!configuration) {
        return exitstatus::invalid;
    }
    std::cout << printable(line.file) << ": valid\n";
    return exitstatus::success;
}

void setUpHost(CommandLine const& line) {
    if (!line.installationRoot.empty()) {
        agent::host::standalone::setInstallationRoot(line.installationRoot);
    }
    if (!line.runtimeDirectory.empty()) {
        agent::host::standalone::setFrameworkProperties({{"qo.spf.runtimedirectory", line.runtimeDirectory}});
    }
}

int run(CommandLine const& line) {
    auto const configuration = loadConfiguration(line.file);
    if (!configuration) {
        return exitstatus::invalid;
    }
    MessageBox messages;
    SignalThread const signals(messages); // before any other thread
    boost::log::add_console_log(std::clog);
    setUpHost(line);
    return RunSession(*configuration, line.run, messages).run();
}

// An option whose value is a duration.
template <typename Store>
void addDuration(CLI::App& command, std::string const& name, Store store, std::string const& description) {
    command
        .add_option_function<std::string>(
            name,
            [name, store](std::string const& text) {
                try {
                    store(parseDuration(text));
                } catch (std::invalid_argument const& error) {
                    throw CLI::ValidationError(name, error.what());
                }
            },
            description)
        ->type_name("DURATION");
}

void addRun(CLI::App& program, CommandLine& line) {
    auto& command =
        *program.add_subcommand("run", "Publish a configuration, wait until it is ready, stay, withdraw it");
    command.add_option("FILE", line.file, "The configuration file; - for standard input")->required();
    addDuration(
        command, "--timeout", [&line](auto duration) { line.run.timeout = duration; },
        "How long all together may take to get ready; 0: no limit (default: 30s)");
    addDuration(
        command, "--for", [&line](auto duration) { line.run.stay = duration; },
        "Withdraw this long after all is ready (default: stay until interrupted)");
    command.add_flag_callback(
        "--once", [&line] { line.run.stay = std::chrono::milliseconds::zero(); },
        "Withdraw as soon as all is ready");
    command
        .add_option("--expect", line.run.expectedInterfaces,
                    "Ready means also that a peer offers the interface of this name; may be repeated")
        ->type_name("INTERFACE")
        ->allow_extra_args(false);
    static std::map<std::string, ProgressStyle> const styles{{"auto", ProgressStyle::Automatic},
                                                             {"tty", ProgressStyle::Table},
                                                             {"plain", ProgressStyle::Plain},
                                                             {"json", ProgressStyle::Json},
                                                             {"quiet", ProgressStyle::Quiet}};
    command.add_option("--progress", line.run.progress, "auto, tty, plain, json or quiet (default: auto)")
        ->transform(CLI::CheckedTransformer(styles).description(""));
    command.add_option("--root", line.installationRoot,
                       "The installation (default: the parent of the program's directory)");
    command.add_option("--runtime-directory", line.runtimeDirectory,
                       "Where agents of this user announce themselves to each other");
}

void addValidate(CLI::App& program, CommandLine& line) {
    auto& command = *program.add_subcommand("validate", "Check a configuration file without publishing it");
    command.add_option("FILE", line.file, "The configuration file; - for standard input")->required();
}

int dispatch(int argc, char** argv) {
    CLI::App program("Applies a configuration file to a service framework in its own process.", "spf-agent");
    CommandLine line;
    program.set_version_flag("--version", SPF_AGENT_VERSION);
    program.require_subcommand(1);
    addRun(program, line);
    addValidate(program, line);
    program.footer("Exit status: 0 ready and withdrawn, or valid; 1 failed; 2 usage or invalid file;\n"
                   "3 not ready in time; 130 interrupted; 143 terminated.");
    try {
        program.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        return program.exit(error) == 0 ? exitstatus::success : exitstatus::invalid;
    }
    return program.got_subcommand("run") ? run(line) : validate(line);
}

} // namespace

int main(int argc, char** argv) {
    try {
        return dispatch(argc, argv);
    } catch (std::exception const& error) {
        complain(std::string("spf-agent: ") + error.what());
        return exitstatus::failed;
    }
}
