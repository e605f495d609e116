// Publishes a configuration, waits for it and withdraws it.
#include "run/ConfigurationDriver.hpp"

#include <algorithm>
#include <exception>
#include <utility>

#include "agent/host/FrameworkAccess.hpp"
#include "run/FrameworkWatch.hpp"
#include "run/frameworkWork.hpp"
#include "run/publishing.hpp"

namespace agent::program {

using std::chrono::milliseconds;

namespace {

// How long one wait of the library may take before requests are looked for.
constexpr milliseconds slice{50};

std::vector<std::string> publisherIDs(ConfigurationFile const& configuration) {
    std::vector<std::string> ids;
    for (auto const& publisher : configuration.publishers) {
        ids.push_back(publisher.uniqueID);
    }
    return ids;
}

} // namespace

ConfigurationDriver::ConfigurationDriver(ConfigurationFile configuration, MessageBox& messages)
    : current_{std::move(configuration), 1}
    , messages_(messages)
    , thread_([this] { workAndStopFramework([this] { drive(); }, messages_); }) {}

ConfigurationDriver::~ConfigurationDriver() {
    finish();
    messages_.close();
    thread_.join();
}

// Requests

std::uint32_t ConfigurationDriver::apply(ConfigurationFile next) {
    std::lock_guard const lock(mutex_);
    if (!next_) { // otherwise it takes the place, and the count, of one that is never published
        ++lastCount_;
    }
    next_ = Version{std::move(next), lastCount_};
    requestMade_.notify_all();
    return lastCount_;
}

void ConfigurationDriver::request(Request request) {
    {
        std::lock_guard const lock(mutex_);
        request_ = std::max(request_, request);
    }
    requestMade_.notify_all();
}

bool ConfigurationDriver::isAskedForSomething() {
    std::lock_guard const lock(mutex_);
    return isAskedForSomethingWithLock();
}

// Nothing when the withdrawal is asked for and every version that was given has been published.
std::optional<ConfigurationDriver::Version> ConfigurationDriver::waitForNextVersion() {
    std::unique_lock lock(mutex_);
    requestMade_.wait(lock, [this] { return isAskedForSomethingWithLock(); });
    return std::exchange(next_, std::nullopt);
}

void ConfigurationDriver::waitForFinish() {
    std::unique_lock lock(mutex_);
    requestMade_.wait(lock, [this] { return request_ == Request::Finish; });
}

// The thread

void ConfigurationDriver::drive() {
    auto const framework = host::getFramework();
    FrameworkWatch const watch(framework->GetBundleContext(), messages_);
    auto published = publish(current_.configuration);
    for (;;) {
        messages_.put(ConfigurationPublished{current_.modificationCount});
        awaitReadiness(published);
        auto next = waitForNextVersion();
        if (!next) {
            break;
        }
        current_ = std::move(*next);
        published = publishNext(published, current_.configuration);
    }
    withdraw(published);
    messages_.put(ConfigurationWithdrawn{});
    waitForFinish();
}

void ConfigurationDriver::awaitReadiness(SPFConfiguration& published) {
    auto pending = publisherIDs(current_.configuration);
    try {
        while (!becameReady(published, pending)) {
            if (isAskedForSomething()) {
                return;
            }
        }
        messages_.put(ConfigurationReady{current_.modificationCount});
    } catch (std::exception const& error) {
        messages_.put(ConfigurationFailed{error.what(), current_.modificationCount});
    }
}

// Removes from `pending` the publishers that are ready; true if none is left. Throws the error of any that
// has failed, however long the others take.
bool ConfigurationDriver::becameReady(SPFConfiguration& published, std::vector<std::string>& pending) {
    auto const isReady = [&published](std::string const& publisher) {
        bool const endpoints = published.waitForAllEndpoints(milliseconds::zero(), publisher);
        return published.waitForAllServices(milliseconds::zero(), publisher) && endpoints;
    };
    pending.erase(std::remove_if(pending.begin(), pending.end(), isReady), pending.end());
    if (pending.empty()) {
        return true;
    }
    if (published.waitForAllEndpoints(slice, pending.front())) {
        published.waitForAllServices(slice, pending.front());
    }
    return false;
}

// The wait for one publisher withdraws the configuration of all. It ends the library's listening, too, and a
// publisher that has failed answers it with its error; that all are removed is therefore seen by the
// FrameworkWatch.
void ConfigurationDriver::withdraw(SPFConfiguration& published) {
    auto const& publishers = current_.configuration.publishers;
    try {
        if (!publishers.empty()) {
            published.waitForAllServicesToBeUnpublished(removalTimeout, publishers.front().uniqueID);
        }
    } catch (std::exception const&) {
        // The error of the publisher, which was reported when it arrived.
    }
    published.reset();
}

} // namespace agent::program
