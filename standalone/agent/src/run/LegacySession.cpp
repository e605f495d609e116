// The agent with the fixed legacy configuration.
#include "run/LegacySession.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "Duration.hpp"
#include "ExitStatus.hpp"
#include "agent/host/FrameworkAccess.hpp"
#include "agent/spf/bundles/ConfigurationKeys.hpp"
#include "agent/spf/frameworksetup/frameworksetup.hpp"
#include "run/FrameworkWatch.hpp"
#include "run/SignalThread.hpp"
#include "run/frameworkConfigurations.hpp"
#include "run/frameworkWork.hpp"

namespace agent::program {

namespace {

using namespace std::chrono_literals;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;
namespace keys = spf::bundles::keys;

constexpr std::chrono::milliseconds stopLimit = 10s;
constexpr std::chrono::milliseconds tick = 1s;

std::vector<std::string> texts(Any const& list) {
    std::vector<std::string> result;
    for (auto const& element : any_cast<std::vector<Any>>(list)) {
        result.push_back(element.ToString());
    }
    return result;
}

// What a published map says about publishers, as a file would have said it.
ConfigurationFile toConfiguration(std::string const& id, AnyMap const& map) {
    ConfigurationFile configuration;
    configuration.configurationID = id;
    auto const publishers = any_cast<std::vector<Any>>(map.at(keys::servicePublisherConfigurations));
    for (auto const& publisher : publishers) {
        auto const entry = any_cast<AnyMap>(publisher);
        auto const config = any_cast<AnyMap>(entry.at(keys::config));
        configuration.publishers.push_back({entry.at(keys::uniqueID).ToString(),
                                            entry.at(keys::name).ToString(),
                                            texts(config.at(keys::endpointsToConnectTo)),
                                            texts(config.at(keys::endpointsToBindTo)),
                                            {},
                                            {}});
    }
    return configuration;
}

} // namespace

LegacySession::LegacySession(Narrator& narrator, MessageBox& messages)
    : messages_(messages)
    , narrator_(narrator)
    , status_(exitstatus::success)
    , thread_([this] { workAndStopFramework([this] { setUpAndStay(); }, messages_); }) {}

LegacySession::~LegacySession() {
    requestStop(); // nobody has if run() was left by an exception
    messages_.close();
    thread_.join();
}

// The thread

void LegacySession::setUpAndStay() {
    auto const framework = host::getFramework();
    FrameworkWatch const watch(framework->GetBundleContext(), messages_); // before anything happens
    spf::frameworksetup::setupFramework();
    auto const configurations = frameworkConfigurations(framework->GetBundleContext());
    if (configurations.empty()) {
        throw std::runtime_error("nothing was published: the framework has no Configuration Admin service");
    }
    auto const& [id, map] = *configurations.begin();
    messages_.put(ConfigurationAdopted{toConfiguration(id, map)});
    stop_.get_future().wait();
}

// The main thread

void LegacySession::requestStop() {
    if (!std::exchange(isAskedToStop_, true)) {
        stop_.set_value();
    }
}

int LegacySession::run() {
    narrator_.tell("starting", "setting up the service framework with the legacy configuration");
    while (!isEnded_) {
        auto const message = messages_.take(std::min(deadline_, nextTick_));
        if (message) {
            std::visit([this](auto const& content) { handle(content); }, *message);
        }
        if (messages_.isEmpty()) {
            narrator_.caughtUp();
        }
        if (Clock::now() >= nextTick_) {
            narrator_.timePassed(false);
            nextTick_ = Clock::now() + tick;
        }
        if (!isEnded_ && Clock::now() >= deadline_) {
            stopTookTooLong();
        }
    }
    narrator_.tellSummary(status_);
    return status_;
}

void LegacySession::handle(ConfigurationAdopted const& message) {
    auto const& id = message.configuration.configurationID;
    narrator_.reconfigure(message.configuration);
    narrator_.tell("published", "configuration " + id + " handed to the service framework",
                   {{"configurationID", id}});
    narrator_.result("published " + id);
    isAdopted_ = true;
    for (auto const& early : std::exchange(earlyMessages_, {})) {
        std::visit([this](auto const& content) { handle(content); }, early);
    }
}

void LegacySession::handle(ConfigurationFailed const& message) {
    narrator_.tellFailure(message.reason);
    // An interrupt that came before is why it ends.
    status_ = status_ == exitstatus::success ? exitstatus::failed : status_;
}

void LegacySession::handle(FrameworkStopped const&) {
    isEnded_ = true;
}

void LegacySession::handle(SignalReceived const& message) {
    narrator_.tell("interrupted",
                   fmt::format("SIG{}: stopping the service framework; a second signal leaves at once",
                               sigabbrev_np(message.number)),
                   {{"signal", message.number}});
    status_ = exitStatusOfSignal(message.number);
    deadline_ = Clock::now() + stopLimit;
    requestStop();
}

void LegacySession::handle(ReloadRequested const& message) {
    narrator_.tell("unchanged", message.cause + ": the legacy configuration has no file to read again");
}

void LegacySession::stopTookTooLong() {
    narrator_.tellFailure("the framework did not stop within " + formatDuration(stopLimit));
    narrator_.tellSummary(status_);
    std::_Exit(status_);
}

} // namespace agent::program
