// The command line: verbs and their options.
#include "CommandLine.hpp"

#include <map>
#include <stdexcept>

#include <CLI/CLI.hpp>

#include "Duration.hpp"
#include "ExitStatus.hpp"
#include "version.hpp"

namespace agent::program {

namespace {

constexpr char const* statuses =
    "Exit status: 0 ready and withdrawn, valid, or printed; 1 failed; 2 usage or invalid file;\n"
    "3 not ready in time; 129 the terminal has gone; 130 interrupted; 143 terminated.";

constexpr char const* runExamples =
    "Examples:\n"
    "  spf-agent run agent.json                    stay until Ctrl-C, which withdraws\n"
    "  spf-agent run agent.json --once             succeed as soon as all is ready\n"
    "  spf-agent run agent.json --timeout 0        wait for peers as long as it takes\n"
    "  spf-agent run agent.json --watch            apply the file anew whenever it changes; so does SIGHUP\n"
    "  spf-agent run - --progress json < agent.json";
constexpr char const* validateExamples = "Examples:\n"
                                         "  spf-agent validate agent.json\n"
                                         "  generate-configuration | spf-agent validate -";
constexpr char const* showExamples = "Examples:\n"
                                     "  spf-agent show agent.json\n"
                                     "  spf-agent show agent.json > before.json";
constexpr char const* schemaExamples = "Example:\n"
                                       "  spf-agent schema > spf-agent.schema.json\n"
                                       "In a configuration file, \"$schema\" tells editors where it is.";
constexpr char const* legacyExamples = "Example:\n"
                                       "  spf-agent legacy --runtime-directory /run/spf";

// An option whose value is a duration.
template <typename Store>
CLI::Option* addDuration(CLI::App& command, std::string const& name, Store store,
                         std::string const& description) {
    auto const parse = [name, store](std::string const& text) {
        try {
            store(parseDuration(text));
        } catch (std::invalid_argument const& error) {
            throw CLI::ValidationError(name, error.what());
        }
    };
    return command.add_option_function<std::string>(name, parse, description)->type_name("DURATION");
}

ProgressStyle parseStyle(std::string const& text) {
    static std::map<std::string, ProgressStyle> const styles{{"auto", ProgressStyle::Automatic},
                                                             {"tty", ProgressStyle::Table},
                                                             {"plain", ProgressStyle::Plain},
                                                             {"json", ProgressStyle::Json},
                                                             {"quiet", ProgressStyle::Quiet}};
    auto const found = styles.find(text);
    if (found == styles.end()) {
        throw CLI::ValidationError("--progress",
                                   "\"" + text + "\" is not a style: auto, tty, plain, json or quiet");
    }
    return found->second;
}

class Parser {
public:
    std::variant<CommandLine, int> parse(int argc, char** argv) {
        try {
            program_.parse(argc, argv);
            if (line_.watch && line_.file == "-") {
                throw CLI::ValidationError("--watch", "standard input cannot be watched");
            }
            return line_;
        } catch (CLI::RequiredError const& error) {
            // The parser misses the verb before it looks at what stands in its place.
            if (auto const unknown = program_.remaining(); !unknown.empty()) {
                return exit(CLI::ExtrasError(unknown));
            }
            return exit(program_.get_subcommands().empty() ? CLI::RequiredError("VERB") : error);
        } catch (CLI::ParseError const& error) {
            return exit(error);
        }
    }

    Parser() {
        program_.set_version_flag("--version", programVersion());
        program_.require_subcommand(1);
        program_.get_formatter()->label("SUBCOMMAND", "VERB");
        program_.footer(std::string(statuses) +
                        "\n\n'spf-agent VERB --help' tells more; so does 'man spf-agent'.");
        addRun();
        addValidate();
        addShow();
        addSchema();
        addLegacy();
    }

private:
    // Prints what is wrong, or the help that was asked for, and returns the program's status.
    int exit(CLI::ParseError const& error) {
        return program_.exit(error) == 0 ? exitstatus::success : exitstatus::invalid;
    }

    CLI::App& addVerb(Verb verb, std::string const& name, std::string const& description,
                      char const* examples) {
        auto& command = *program_.add_subcommand(name, description);
        command.group("Verbs");
        command.footer(examples);
        command.callback([this, verb] { line_.verb = verb; });
        return command;
    }

    void addFile(CLI::App& command) {
        command.add_option("FILE", line_.file, "The configuration file; - for standard input")->required();
    }

    void addRoot(CLI::App& command) {
        command
            .add_option("--root", line_.installationRoot,
                        "The installation (default: the parent of the program's directory)")
            ->type_name("DIR");
    }

    void addRuntimeDirectory(CLI::App& command) {
        command
            .add_option("--runtime-directory", line_.runtimeDirectory,
                        "Where agents of this user announce themselves to each other")
            ->type_name("DIR");
    }

    void addProgress(CLI::App& command) {
        command
            .add_option_function<std::string>(
                "--progress", [this](std::string const& text) { line_.progress = parseStyle(text); },
                "auto, tty, plain, json or quiet (default: auto)")
            ->type_name("STYLE");
    }

    void addRun() {
        auto& command =
            addVerb(Verb::Run, "run", "Publish a configuration, wait until it is ready, stay, withdraw it",
                    runExamples);
        addFile(command);
        addDuration(
            command, "--timeout", [this](auto duration) { line_.run.timeout = duration; },
            "How long all together may take to get ready; 0: no limit (default: 30s)");
        auto* const stay = addDuration(
            command, "--for", [this](auto duration) { line_.run.stay = duration; },
            "Withdraw this long after all is ready (default: stay until interrupted)");
        command
            .add_flag_callback(
                "--once", [this] { line_.run.stay = std::chrono::milliseconds::zero(); },
                "Withdraw as soon as all is ready")
            ->excludes(stay);
        command
            .add_option("--expect", line_.run.expectedInterfaces,
                        "Ready means also that a peer offers the interface of this name; may be repeated")
            ->type_name("INTERFACE")
            ->allow_extra_args(false);
        command.add_flag("--watch", line_.watch, "Apply the file anew whenever it changes");
        addProgress(command);
        addRoot(command);
        addRuntimeDirectory(command);
    }

    void addValidate() {
        addFile(addVerb(Verb::Validate, "validate", "Check a configuration file without publishing it",
                        validateExamples));
    }

    void addShow() {
        auto& command = addVerb(Verb::Show, "show", "Print the property map that would be published, as JSON",
                                showExamples);
        addFile(command);
        addRoot(command);
    }

    void addSchema() {
        addVerb(Verb::Schema, "schema", "Print the JSON Schema of configuration files", schemaExamples);
    }

    void addLegacy() {
        auto& command =
            addVerb(Verb::Legacy, "legacy",
                    "Publish the fixed legacy configuration and stay until interrupted", legacyExamples);
        addProgress(command);
        addRoot(command);
        addRuntimeDirectory(command);
    }

    CLI::App program_{"Applies a configuration file to a service framework in its own process.", "spf-agent"};
    CommandLine line_;
};

} // namespace

std::variant<CommandLine, int> parseCommandLine(int argc, char** argv) {
    return Parser().parse(argc, argv);
}

} // namespace agent::program
