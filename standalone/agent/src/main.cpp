// spf-agent: applies a configuration file to a service framework in its own process.
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <new>
#include <optional>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <boost/log/utility/setup/console.hpp>

#include "CommandLine.hpp"
#include "ExitStatus.hpp"
#include "agent/host/standalone/StandaloneHost.hpp"
#include "configuration/ConfigurationSource.hpp"
#include "configuration/SchemaCheck.hpp"
#include "progress/Narrator.hpp"
#include "progress/advice.hpp"
#include "progress/displayText.hpp"
#include "run/FileWatch.hpp"
#include "run/LegacySession.hpp"
#include "run/RunSession.hpp"
#include "run/SignalThread.hpp"
#include "show/publishedMap.hpp"

namespace {

using namespace agent::program;

// Whatever is opened first takes the number of a standard stream that was closed, and would be written to as
// if it were that stream. Something stands there instead whose use fails as that of the closed one would.
void occupyClosedStandardStreams() {
    for (int const stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) < 0) {
            open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

void complain(std::string const& text) {
    std::fprintf(stderr, "%s\n", printable(text).c_str());
}

constexpr char const* outOfMemory = "out of memory";

// What has gone wrong, in words for people.
std::string reasonOf(std::exception const& error) {
    bool const isMemory = dynamic_cast<std::bad_alloc const*>(&error) != nullptr;
    return isMemory ? outOfMemory : error.what();
}

// For want of memory where nobody can catch it: destructors of the JSON library take some for a long list.
// Takes none itself.
void tellWhenMemoryEndsTheProcess() {
    static auto const otherwise = std::get_terminate();
    std::set_terminate([] {
        try {
            if (auto const error = std::current_exception()) {
                std::rethrow_exception(error);
            }
        } catch (std::bad_alloc const&) {
            std::fprintf(stderr, "spf-agent: %s\n", outOfMemory);
            std::_Exit(exitstatus::failed);
        } catch (...) {
            // The handler that was there before says what it is.
        }
        otherwise();
    });
}

// Prints a result; false, which was said then, if it could not be written whole.
bool print(std::string const& text) {
    std::cout << text << std::flush;
    if (!std::cout) {
        complain("spf-agent: cannot write the result to standard output");
    }
    return std::cout.good();
}

// What is wrong with a file, in the words of the progress that is wanted.
void tellProblems(ConfigurationSource const& source, Problems const& problems, ProgressStyle style) {
    if (style != ProgressStyle::Json) {
        for (auto const& problem : problems) {
            complain(source.describe(problem));
        }
        return;
    }
    Narrator narrator({}, style);
    for (auto const& problem : problems) {
        narrator.tellProblem(source.describe(problem), problem);
    }
    narrator.tellSummary(exitstatus::invalid);
}

// What a file says; nothing if it is not valid, which has been said then.
std::optional<ParsedConfiguration> load(ConfigurationSource const& source,
                                        ProgressStyle style = ProgressStyle::Plain) {
    auto parsed = source.load();
    if (!parsed.problems.empty()) {
        tellProblems(source, parsed.problems, style);
        return std::nullopt;
    }
    return parsed;
}

void setUpHost(CommandLine const& line) {
    boost::log::add_console_log(std::clog);
    if (!line.installationRoot.empty()) {
        agent::host::standalone::setInstallationRoot(line.installationRoot);
    }
    if (!line.runtimeDirectory.empty()) {
        agent::host::standalone::setFrameworkProperties({{"qo.spf.runtimedirectory", line.runtimeDirectory}});
    }
}

// Runs a session and returns its status. Of a failure to begin it, or to go on, the narrator tells.
template <typename Session>
int narrated(Narrator& narrator, Session const& session) {
    try {
        return session();
    } catch (std::exception const& error) {
        narrator.tellFailure(reasonOf(error));
        narrator.tellSummary(exitstatus::failed);
        return exitstatus::failed;
    }
}

int run(CommandLine const& line) {
    ConfigurationSource const source(line.file);
    auto const identity = FileWatch::identityOf(source.path());
    auto const parsed = load(source, line.progress);
    if (!parsed) {
        return exitstatus::invalid;
    }
    Narrator narrator(parsed->configuration, line.progress);
    return narrated(narrator, [&] {
        MessageBox messages;
        SignalThread const signals(messages); // before any other thread
        std::optional<FileWatch> watch;
        if (line.watch) {
            watch.emplace(source.path(), identity, messages);
        }
        setUpHost(line);
        return RunSession(source, parsed->configuration, line.run, narrator, messages).run();
    });
}

int validate(CommandLine const& line) {
    ConfigurationSource const source(line.file);
    auto const parsed = load(source);
    if (!parsed) {
        return exitstatus::invalid;
    }
    for (auto const& note : parsed->notes) {
        complain(source.describe(note));
    }
    return print(printable(source.name()) + ": valid\n") ? exitstatus::success : exitstatus::failed;
}

int show(CommandLine const& line) {
    auto const parsed = load(ConfigurationSource(line.file));
    if (!parsed) {
        return exitstatus::invalid;
    }
    setUpHost(line);
    return print(publishedMap(parsed->configuration) + '\n') ? exitstatus::success : exitstatus::failed;
}

int schema() {
    return print(std::string(configurationSchema())) ? exitstatus::success : exitstatus::failed;
}

int legacy(CommandLine const& line) {
    Narrator narrator({}, line.progress);
    return narrated(narrator, [&] {
        MessageBox messages;
        SignalThread const signals(messages); // before any other thread
        setUpHost(line);
        return LegacySession(narrator, messages).run();
    });
}

int dispatch(CommandLine const& line) {
    switch (line.verb) {
    case Verb::Run:
        return run(line);
    case Verb::Validate:
        return validate(line);
    case Verb::Show:
        return show(line);
    case Verb::Schema:
        return schema();
    case Verb::Legacy:
        return legacy(line);
    }
    return exitstatus::invalid;
}

} // namespace

int main(int argc, char** argv) {
    occupyClosedStandardStreams();
    tellWhenMemoryEndsTheProcess();
    // For the width of characters; whatever is written is UTF-8. There is no second thread yet.
    std::setlocale(LC_CTYPE, "C.UTF-8"); // NOLINT(concurrency-mt-unsafe)
    try {
        auto const parsed = parseCommandLine(argc, argv);
        auto const* const line = std::get_if<CommandLine>(&parsed);
        if (line != nullptr) {
            return dispatch(*line);
        }
        return print("") ? std::get<int>(parsed) : exitstatus::failed; // what was printed is on its way
    } catch (std::exception const& error) {
        auto const reason = reasonOf(error);
        complain("spf-agent: " + withAdvice(reason, adviceForFailure(reason)));
        return exitstatus::failed;
    }
}
