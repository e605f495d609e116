// A minimal host: the framework, the bundles of an installation, paths, and a logger that reports failures.
#include "MinimalHost.hpp"

#include <algorithm>
#include <chrono>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <boost/log/keywords/channel.hpp>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>

#include <agent/host/DiagnosticLogger.hpp>
#include <agent/host/FrameworkAccess.hpp>
#include <agent/host/Path.hpp>

namespace {

using cppmicroservices::Bundle;

struct State {
    std::mutex mutex; // guards both members
    std::filesystem::path root;
    std::shared_ptr<cppmicroservices::Framework> framework; // null unless a Host lives
};

State& state() {
    static State instance;
    return instance;
}

// [installation]
// Installing a bundle that is installed already yields the one that is there, and starting an active one does
// nothing.
std::vector<Bundle> install(std::filesystem::path const& directory) {
    auto const framework = agent::host::getFramework();
    if (!framework) {
        throw std::runtime_error("cannot install the bundles of " + directory.string() +
                                 ": no framework runs");
    }
    std::vector<std::filesystem::path> files;
    for (auto const& entry : std::filesystem::directory_iterator(directory)) {
        if (entry.path().extension() == ".so") {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    std::vector<Bundle> bundles;
    for (auto const& file : files) {
        for (auto& bundle : framework->GetBundleContext().InstallBundles(file.string())) {
            bundles.push_back(std::move(bundle));
        }
    }
    return bundles;
}

void start(std::vector<Bundle>& bundles) {
    for (auto& bundle : bundles) {
        bundle.Start();
    }
}
// [installation]

std::filesystem::path resolve(agent::host::Path const& path) {
    std::lock_guard const lock(state().mutex);
    return state().root / std::filesystem::path(path.text());
}

} // namespace

// [framework]
minimal::Host::Host() {
    auto framework =
        std::make_shared<cppmicroservices::Framework>(cppmicroservices::FrameworkFactory().NewFramework());
    framework->Start();
    std::lock_guard const lock(state().mutex);
    state().framework = std::move(framework);
}

minimal::Host::Host(std::filesystem::path root)
    : Host() {
    {
        std::lock_guard const lock(state().mutex);
        state().root = std::move(root);
    }
    agent::host::installAndStart(agent::host::Path(u"bin/darwinarm64/microservices")); // Configuration Admin
}

minimal::Host::~Host() {
    std::shared_ptr<cppmicroservices::Framework> framework;
    {
        std::lock_guard const lock(state().mutex);
        framework.swap(state().framework);
    }
    framework->Stop();
    framework->WaitForStop(std::chrono::milliseconds::zero()); // zero: until it has stopped
}

std::shared_ptr<cppmicroservices::Framework> agent::host::getFramework() {
    std::lock_guard const lock(state().mutex);
    return state().framework;
}
// [framework]

// [bundles]
std::vector<Bundle> agent::host::installAndStart(Path const& directory) {
    auto bundles = install(resolve(directory));
    start(bundles);
    return bundles;
}

std::pair<std::vector<Bundle>, std::vector<Bundle>>
agent::host::installAndStart(Path const& directory, cppmicroservices::LDAPFilter const& filter) {
    auto matching = install(resolve(directory));
    auto const rest = std::stable_partition(matching.begin(), matching.end(),
                                            [&](Bundle const& bundle) { return filter.Match(bundle); });
    std::vector<Bundle> others(rest, matching.end());
    matching.erase(rest, matching.end());
    start(matching);
    return {std::move(matching), std::move(others)};
}
// [bundles]

// [path]
agent::host::Path::Path(std::u16string text)
    : text_(std::move(text)) {}

agent::host::Path& agent::host::Path::operator/=(std::u16string_view component) {
    std::u16string const appended(component); // a copy, for it may be part of the text that grows
    if (!text_.empty()) {
        text_ += u'/';
    }
    text_ += appended;
    return *this;
}

bool agent::host::Path::empty() const noexcept {
    return text_.empty();
}

std::u16string const& agent::host::Path::text() const noexcept {
    return text_;
}
// [path]

// [logger]
agent::host::DiagnosticLogger::DiagnosticLogger(std::string channel)
    : source_(boost::log::keywords::channel = std::move(channel)) {}

agent::host::DiagnosticLogger::~DiagnosticLogger() = default;

std::uint32_t agent::host::DiagnosticLogger::enabledSeverities() const noexcept {
    return static_cast<std::uint32_t>(Severity::Failure);
}

agent::host::DiagnosticLogger::Source& agent::host::DiagnosticLogger::source() noexcept {
    return source_;
}
// [logger]
