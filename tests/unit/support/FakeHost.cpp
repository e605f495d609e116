// The host's interfaces, implemented on what the test gives.
#include "support/FakeHost.hpp"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "agent/host/DiagnosticLogger.hpp"
#include "agent/host/FrameworkAccess.hpp"
#include "agent/host/Path.hpp"
#include "support/CallLog.hpp"

namespace agent::spf::frameworksetup::test {

using cppmicroservices::Bundle;
using cppmicroservices::Framework;

namespace {

template <typename Map>
typename Map::mapped_type valueOrNothing(Map const& map, std::string const& key) {
    auto const found = map.find(key);
    return found == map.end() ? typename Map::mapped_type() : found->second;
}

} // namespace

void FakeHost::setFramework(std::shared_ptr<Framework> framework) {
    std::lock_guard<std::mutex> const lock(mutex_);
    framework_.swap(framework); // the old one goes after the lock
}

std::shared_ptr<Framework> FakeHost::framework() const {
    std::lock_guard<std::mutex> const lock(mutex_);
    return framework_;
}

void FakeHost::setBundles(std::string const& path, std::vector<Bundle> bundles) {
    std::lock_guard<std::mutex> const lock(mutex_);
    bundles_[path] = std::move(bundles);
}

void FakeHost::setBundlesNotStarted(std::string const& path, std::vector<Bundle> bundles) {
    std::lock_guard<std::mutex> const lock(mutex_);
    bundlesNotStarted_[path] = std::move(bundles);
}

std::vector<Bundle> FakeHost::bundles(std::string const& path) const {
    std::lock_guard<std::mutex> const lock(mutex_);
    return valueOrNothing(bundles_, path);
}

std::vector<Bundle> FakeHost::bundlesNotStarted(std::string const& path) const {
    std::lock_guard<std::mutex> const lock(mutex_);
    return valueOrNothing(bundlesNotStarted_, path);
}

void FakeHost::setEnabledSeverities(std::uint32_t mask) {
    std::lock_guard<std::mutex> const lock(mutex_);
    enabledSeverities_ = mask;
}

void FakeHost::setUnfitComponent(std::u16string component) {
    std::lock_guard<std::mutex> const lock(mutex_);
    unfitComponent_ = std::move(component);
}

std::u16string FakeHost::unfitComponent() const {
    std::lock_guard<std::mutex> const lock(mutex_);
    return unfitComponent_;
}

std::uint32_t FakeHost::enabledSeverities() const {
    std::lock_guard<std::mutex> const lock(mutex_);
    return enabledSeverities_;
}

std::vector<std::string> FakeHost::loggerChannels() const {
    std::lock_guard<std::mutex> const lock(mutex_);
    return loggerChannels_;
}

void FakeHost::loggerMade(std::string const& channel) {
    std::lock_guard<std::mutex> const lock(mutex_);
    loggerChannels_.push_back(channel);
}

void FakeHost::reset() {
    BundlesByPath bundles;
    BundlesByPath bundlesNotStarted;
    std::shared_ptr<Framework> framework;
    std::lock_guard<std::mutex> const lock(mutex_);
    bundles.swap(bundles_);
    bundlesNotStarted.swap(bundlesNotStarted_);
    framework.swap(framework_);
    enabledSeverities_ = allSeverities;
    unfitComponent_.clear();
}

FakeHost& fakeHost() {
    static FakeHost host;
    return host;
}

} // namespace agent::spf::frameworksetup::test

namespace agent::host {

using cppmicroservices::Bundle;
using spf::frameworksetup::test::callLog;
using spf::frameworksetup::test::fakeHost;

namespace {

// The paths of the tests hold ASCII only.
std::string narrow(Path const& path) {
    std::string text;
    std::transform(path.text().begin(), path.text().end(), std::back_inserter(text),
                   [](char16_t character) { return static_cast<char>(character); });
    return text;
}

} // namespace

std::shared_ptr<cppmicroservices::Framework> getFramework() {
    callLog().record("getFramework");
    return fakeHost().framework();
}

std::vector<Bundle> installAndStart(Path const& directory) {
    auto const path = narrow(directory);
    callLog().record("installAndStart " + path);
    return fakeHost().bundles(path);
}

std::pair<std::vector<Bundle>, std::vector<Bundle>>
installAndStart(Path const& directory, cppmicroservices::LDAPFilter const& filter) {
    auto const path = narrow(directory);
    callLog().record("installAndStart " + path + " " + filter.ToString());
    return {fakeHost().bundles(path), fakeHost().bundlesNotStarted(path)};
}

// As every host's path, but stricter: it notices when the library does not append components one by one.
Path::Path(std::u16string text)
    : text_(std::move(text)) {}

Path& Path::operator/=(std::u16string_view component) {
    if (component.find(u'/') != component.npos) {
        throw std::invalid_argument("more than one component is appended at once");
    }
    if (auto const unfit = fakeHost().unfitComponent(); !unfit.empty() && component == unfit) {
        throw std::length_error("the path is too long");
    }
    if (!text_.empty()) {
        text_ += u'/';
    }
    text_ += component;
    return *this;
}

bool Path::empty() const noexcept {
    return text_.empty();
}

std::u16string const& Path::text() const noexcept {
    return text_;
}

DiagnosticLogger::DiagnosticLogger(std::string channel)
    : source_(boost::log::keywords::channel = channel) {
    fakeHost().loggerMade(channel);
}

DiagnosticLogger::~DiagnosticLogger() = default;

std::uint32_t DiagnosticLogger::enabledSeverities() const noexcept {
    return fakeHost().enabledSeverities();
}

DiagnosticLogger::Source& DiagnosticLogger::source() noexcept {
    return source_;
}

} // namespace agent::host
