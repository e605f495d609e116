// One framework: its bundles, its services, its listeners, its life cycle.
#include "FrameworkCore.hpp"

#include "Access.hpp"
#include "FrameworkProperties.hpp"
#include "cppmicroservices/Constants.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace cppmicroservices::detail {

SystemBundleRecord::SystemBundleRecord(std::weak_ptr<FrameworkCore> core)
    : BundleRecord(std::move(core), 0, Constants::SYSTEM_BUNDLE_LOCATION, std::string(),
                   interpretHeaders(Constants::SYSTEM_BUNDLE_SYMBOLICNAME, Constants::SYSTEM_BUNDLE_LOCATION,
                                    systemBundleHeaders())) {}

void SystemBundleRecord::start(FrameworkCore& core, std::uint32_t) {
    core.start();
}

void SystemBundleRecord::stop(FrameworkCore& core, std::uint32_t) {
    core.stop();
}

void SystemBundleRecord::uninstall(FrameworkCore&) {
    throw std::runtime_error("Cannot uninstall a system bundle.");
}

// What all public handles own together: its end stops the framework.
class FrameworkCore::Handle {
public:
    explicit Handle(std::shared_ptr<FrameworkCore> core)
        : core_(std::move(core)) {}
    Handle(Handle const&) = delete;
    Handle& operator=(Handle const&) = delete;
    ~Handle() { core_->shutDown(); }

private:
    std::shared_ptr<FrameworkCore> const core_;
};

std::shared_ptr<FrameworkCore> FrameworkCore::make(FrameworkConfiguration const& configuration,
                                                   std::ostream* logger) {
    auto const core = std::make_shared<FrameworkCore>(configuration, logger);
    core->system_ = std::make_shared<SystemBundleRecord>(core);
    core->bundles_.setSystemBundle(core->system_);
    auto const handle = std::make_shared<Handle>(core);
    core->handle_ = handle;
    return {handle, core.get()};
}

namespace {

std::uint64_t nextFrameworkNumber() {
    static std::atomic<std::uint64_t> last{0};
    return ++last;
}

} // namespace

FrameworkCore::FrameworkCore(FrameworkConfiguration const& configuration, std::ostream* logger)
    : number_(nextFrameworkNumber())
    , logStream_(logger ? *logger : std::clog)
    , properties_(launchingProperties(configuration)) {}

std::shared_ptr<FrameworkCore> FrameworkCore::handle() {
    if (auto handle = handle_.lock()) {
        return {std::move(handle), this};
    }
    return shared_from_this();
}

void FrameworkCore::init() {
    if (running()) {
        return;
    }
    BundleChanges::Right const right(changes_, *system_);
    initWithRight();
}

void FrameworkCore::initWithRight() {
    if (running()) {
        return;
    }
    {
        std::lock_guard const lock(mutex_);
        properties_[Constants::FRAMEWORK_UUID] = makeUuid();
    }
    system_->openContext(*this);
    system_->setState(Bundle::STATE_STARTING);
    bundles_.installProgram(*this);
}

void FrameworkCore::start() {
    if (system_->state() == Bundle::STATE_ACTIVE) {
        return;
    }
    BundleChanges::Right const right(changes_, *system_);
    if (system_->state() == Bundle::STATE_ACTIVE) {
        return;
    }
    initWithRight();
    startsBundles_.store(true);
    startMarkedBundles();
    system_->setState(Bundle::STATE_ACTIVE);
    report(FrameworkEvent::FRAMEWORK_STARTED, system_, {});
}

void FrameworkCore::startMarkedBundles() {
    auto bundles = bundles_.all();
    std::sort(bundles.begin(), bundles.end(),
              [](auto const& left, auto const& right) { return left->id() < right->id(); });
    for (auto const& bundle : bundles) {
        if (bundle->autoStart() && bundle != system_) {
            try {
                bundle->start(*this, Bundle::START_TRANSIENT);
            } catch (...) {
                report(FrameworkEvent::FRAMEWORK_ERROR, bundle, {}, std::current_exception());
            }
        }
    }
}

void FrameworkCore::stop() {
    std::thread finished;
    {
        std::lock_guard const lock(mutex_);
        if (stopRequested_) {
            return;
        }
        if (!running()) {
            ++stops_; // there is nothing to do, and that is done
            return;
        }
        finished = std::exchange(stopper_, std::thread([self = shared_from_this()] { self->stopNow(); }));
        stopRequested_ = true;
    }
    if (finished.joinable()) {
        finished.join();
    }
}

void FrameworkCore::stopNow() {
    BundleChanges::Right const right(changes_, *system_);
    if ((system_->state() & (Bundle::STATE_STARTING | Bundle::STATE_ACTIVE)) != 0) {
        system_->setState(Bundle::STATE_STOPPING);
        fire(BundleEvent::BUNDLE_STOPPING, system_);
        startsBundles_.store(false);
        stopBundles();
        system_->closeContext(*this);
        services_.forgetAll();
        for (auto const& [id, bundle] : bundles_.clear()) {
            bundle->abandon();
        }
        std::lock_guard const lock(mutex_);
        system_->setState(Bundle::STATE_RESOLVED);
        ++stops_;
        stopped_.notify_all();
    }
    std::lock_guard const lock(mutex_);
    stopRequested_ = false;
}

void FrameworkCore::stopBundles() {
    for (auto bundle = bundles_.findLastBefore(nullptr); bundle;
         bundle = bundles_.findLastBefore(bundle.get())) {
        if (bundle == system_ || !bundle->mayRun()) {
            continue;
        }
        try {
            bundle->stopForFramework(*this);
        } catch (...) {
            report(FrameworkEvent::FRAMEWORK_ERROR, bundle, {}, std::current_exception());
        }
    }
}

FrameworkEvent FrameworkCore::waitForStop(std::chrono::milliseconds const& timeout) {
    bool ended = true;
    bool everStopped = false;
    {
        std::unique_lock lock(mutex_);
        if (running()) {
            auto const hasStopped = [this, before = stops_] { return stops_ != before; };
            if (timeout == std::chrono::milliseconds::zero()) {
                stopped_.wait(lock, hasStopped);
            } else {
                ended = stopped_.wait_for(lock, timeout, hasStopped);
            }
        }
        everStopped = stops_ > 0;
    }
    auto const type = !ended        ? FrameworkEvent::FRAMEWORK_WAIT_TIMEDOUT
                      : everStopped ? FrameworkEvent::FRAMEWORK_STOPPED
                                    : FrameworkEvent::FRAMEWORK_ERROR;
    return {type, Access::bundle(system_, *this), std::string()};
}

bool FrameworkCore::running() const noexcept {
    return (system_->state() & (Bundle::STATE_STARTING | Bundle::STATE_ACTIVE | Bundle::STATE_STOPPING)) != 0;
}

void FrameworkCore::shutDown() noexcept {
    try {
        stopNow();
    } catch (std::exception const& error) {
        log(error.what());
    }
    joinStopper();
}

void FrameworkCore::joinStopper() {
    std::thread stopper;
    {
        std::lock_guard const lock(mutex_);
        stopper.swap(stopper_);
    }
    if (stopper.get_id() == std::this_thread::get_id()) {
        stopper.detach();
    } else if (stopper.joinable()) {
        stopper.join();
    }
}

void FrameworkCore::removeListenersOf(ContextRecord const& context) {
    serviceListeners_.removeAllOf(context);
    bundleListeners_.removeAllOf(context);
    frameworkListeners_.removeAllOf(context);
}

void FrameworkCore::fire(BundleEvent::Type type, std::shared_ptr<BundleRecord> const& bundle) noexcept {
    bundleListeners_.deliver(BundleEvent(type, Access::bundle(bundle, *this)),
                             [this](ContextRecord const& context) {
                                 report(FrameworkEvent::FRAMEWORK_ERROR, context.bundle(),
                                        "Bundle listener threw an exception", std::current_exception());
                             });
}

void FrameworkCore::report(FrameworkEvent::Type type, std::shared_ptr<BundleRecord> const& bundle,
                           std::string_view message, std::exception_ptr error) noexcept {
    try {
        FrameworkEvent const event(type, Access::bundle(bundle, *this), std::string(message),
                                   std::move(error));
        frameworkListeners_.deliver(event,
                                    [this](ContextRecord const& context) { logFailureOfListener(context); });
    } catch (std::bad_alloc const&) {
        // There is no memory for the event.
    }
}

// Reporting what a listener of reports threw could go on without end.
void FrameworkCore::logFailureOfListener(ContextRecord const& context) noexcept {
    try {
        log("Framework listener in " + context.bundle()->symbolicName() +
            " threw an exception: " + textOf(std::current_exception()));
    } catch (std::exception const&) {
        // There is no memory for the line.
    }
}

void FrameworkCore::log(std::string_view line) {
    if (any_cast<bool>(property(Constants::FRAMEWORK_LOG))) {
        std::lock_guard const lock(mutex_);
        logStream_ << line << '\n';
    }
}

AnyMap FrameworkCore::properties() const {
    std::lock_guard const lock(mutex_);
    return properties_;
}

Any FrameworkCore::property(std::string const& key) const {
    std::lock_guard const lock(mutex_);
    auto const found = properties_.find(key);
    return found == properties_.end() ? Any() : found->second;
}

int FrameworkCore::libraryLoadOptions() const {
    return any_cast<int>(property(Constants::LIBRARY_LOAD_OPTIONS));
}

std::string FrameworkCore::absolutePath(std::string const& path) const {
    return (std::filesystem::path(any_cast<std::string>(property(Constants::FRAMEWORK_WORKING_DIR))) / path)
        .string();
}

std::string FrameworkCore::dataDirectory(BundleRecord const& bundle) const {
    auto const storage = property(Constants::FRAMEWORK_STORAGE);
    auto const* const directory = any_cast<std::string>(&storage);
    if (bundle.id() == system_->id() || (directory && directory->empty())) {
        return {};
    }
    return absolutePath(directory ? *directory : defaultStorage) + "/data/" + std::to_string(bundle.id()) +
           '/';
}

std::string FrameworkCore::dataFile(BundleRecord const& bundle, std::string const& name) const {
    auto const directory = dataDirectory(bundle);
    if (directory.empty()) {
        return {};
    }
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    if (error) {
        throw std::invalid_argument(error.message());
    }
    return directory + name;
}

void FrameworkCore::removeDataFiles(BundleRecord const& bundle) const {
    auto const directory = dataDirectory(bundle);
    if (!directory.empty()) {
        std::error_code ignored; // what cannot be removed stays
        std::filesystem::remove_all(directory, ignored);
    }
}

} // namespace cppmicroservices::detail
