// The process's one framework: started once on demand, stopped, and started anew.
#include "FrameworkLifecycle.hpp"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <future>
#include <stdexcept>
#include <thread>
#include <utility>

#include <unistd.h>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/FrameworkEvent.h>

#include "BundleInstallation.hpp"
#include "PathConversion.hpp"
#include "agent/host/standalone/StandaloneHost.hpp"

namespace agent::host::standalone {

using cppmicroservices::Framework;

namespace {

std::filesystem::path microservicesDirectory() {
    return installationRoot() / toFilesystemPath(Path(SPF_MICROSERVICES_BUNDLE_DIRECTORY));
}

std::atomic<pid_t> frameworkProcess{0}; // in which bundles were started last

// How long exit() waits for the framework.
constexpr auto patienceAtExit = std::chrono::seconds(2);

void stopAndWait(Framework& framework) {
    framework.Stop();
    framework.WaitForStop(std::chrono::milliseconds::zero()); // without limit
}

// Whoever started the framework is told why the start failed; that it cannot be stopped either would hide it.
void stopAfterFailedStart(Framework& framework) noexcept {
    try {
        stopAndWait(framework);
    } catch (...) {
        // It stays as it is, and nobody can reach it.
    }
}

// Whether the framework stops in time. Another thread waits for it, because a wait of the framework's own can
// outlast its time; when that happens the framework must stay as long as the process.
bool stopsBy(std::chrono::steady_clock::time_point deadline, Framework& framework) {
    std::packaged_task<void()> task([&framework] { stopAndWait(framework); });
    auto stopped = task.get_future();
    std::thread(std::move(task)).detach();
    if (stopped.wait_until(deadline) != std::future_status::ready) {
        return false;
    }
    stopped.get();
    return true;
}

bool isStoppedAtExit() {
    try {
        return FrameworkLifecycle::instance().stop(std::chrono::steady_clock::now() + patienceAtExit);
    } catch (std::exception const&) {
        return false; // exit() was called by a bundle that was being started with the framework
    }
}

// When an activator calls exit(), or a listener on the thread that delivers an event, the framework waits for
// that very thread and cannot stop. Bundles whose threads still run must not see static objects go, so the
// process ends here.
void stopAtExit(int status, void*) {
    // A forked child has none of the framework's threads, and what the bundles have made is its parent's.
    bool const isForkedChild = ::getpid() != frameworkProcess;
    if (!isForkedChild && !isStoppedAtExit()) {
        std::fflush(nullptr);
        ::_exit(status);
    }
}

} // namespace

void stopFrameworkFirstAtExit() {
    frameworkProcess = ::getpid();
    ::on_exit(stopAtExit, nullptr);
}

FrameworkLifecycle& FrameworkLifecycle::instance() {
    static auto* const lifecycle = new FrameworkLifecycle;
    return *lifecycle;
}

void FrameworkLifecycle::setProperties(cppmicroservices::FrameworkConfiguration properties) {
    Lock const lock(mutex_);
    properties_ = std::move(properties);
}

std::shared_ptr<Framework> FrameworkLifecycle::get() {
    Lock lock(mutex_);
    waitWhileAnotherThreadStarts(lock);
    return state_ == State::NeverStarted ? startWithLock(lock) : runningWithLock();
}

std::shared_ptr<Framework> FrameworkLifecycle::start() {
    for (;;) {
        Lock lock(mutex_);
        waitWhileAnotherThreadStarts(lock);
        if (state_ == State::NeverStarted || state_ == State::Stopped) {
            return startWithLock(lock);
        }
        if (auto running = runningWithLock()) {
            return running;
        }
        auto const stopping = framework_;
        lock.unlock();
        stopAndRelease(stopping);
    }
}

bool FrameworkLifecycle::stop(Deadline deadline) {
    Lock lock(mutex_);
    if (!waitWhileAnotherThreadStarts(lock, deadline)) {
        return false;
    }
    if (state_ == State::Starting) {
        throw std::logic_error("the framework cannot be stopped by a bundle that is being started with it");
    }
    auto const framework = framework_;
    enterWithLock(framework ? State::Stopping : State::Stopped, framework);
    lock.unlock();
    return !framework || stopAndRelease(framework, deadline);
}

bool FrameworkLifecycle::stopAndRelease(std::shared_ptr<Framework> const& framework, Deadline deadline) {
    if (!deadline) {
        stopAndWait(*framework);
    } else if (!stopsBy(*deadline, *framework)) {
        return false;
    }
    Lock const lock(mutex_);
    if (framework_ == framework) { // not yet released by another thread that waited for the same end
        enterWithLock(State::Stopped, nullptr);
    }
    return true;
}

// The framework, if it runs or the calling thread is starting it.
std::shared_ptr<Framework> FrameworkLifecycle::runningWithLock() const {
    if (state_ == State::Starting) {
        return framework_;
    }
    // Somebody else may have stopped it. The state is read without running anybody's code.
    bool const active =
        state_ == State::Running && framework_->GetState() == cppmicroservices::Bundle::STATE_ACTIVE;
    return active ? framework_ : nullptr;
}

// True in any state but Starting, or in Starting if it is the calling thread that starts; false when the
// deadline is over before that.
bool FrameworkLifecycle::waitWhileAnotherThreadStarts(Lock& lock, Deadline deadline) {
    auto const isOver = [this] {
        return state_ != State::Starting || startingThread_ == std::this_thread::get_id();
    };
    if (!deadline) {
        startEnded_.wait(lock, isOver);
        return true;
    }
    return startEnded_.wait_until(lock, *deadline, isOver);
}

// Leaves the state as it was, and no framework running, when it throws.
std::shared_ptr<Framework> FrameworkLifecycle::startWithLock(Lock& lock) {
    auto const properties = properties_;
    auto const stateBefore = std::exchange(state_, State::Starting);
    startingThread_ = std::this_thread::get_id();
    lock.unlock();
    std::shared_ptr<Framework> framework;
    try {
        framework =
            std::make_shared<Framework>(cppmicroservices::FrameworkFactory().NewFramework(properties));
        launch(framework);
    } catch (...) {
        if (framework) {
            stopAfterFailedStart(*framework);
        }
        lock.lock();
        enterWithLock(stateBefore, nullptr);
        throw;
    }
    lock.lock();
    enterWithLock(State::Running, framework);
    return framework;
}

void FrameworkLifecycle::launch(std::shared_ptr<Framework> const& framework) {
    framework->Start();
    {
        Lock const lock(mutex_);
        framework_ = framework;
    }
    stopFrameworkFirstAtExit();
    auto bundles = installBundles(framework->GetBundleContext(), microservicesDirectory());
    startBundles(bundles);
}

void FrameworkLifecycle::enterWithLock(State state, std::shared_ptr<Framework> framework) {
    state_ = state;
    framework_ = std::move(framework);
    startEnded_.notify_all();
}

void setFrameworkProperties(cppmicroservices::FrameworkConfiguration properties) {
    FrameworkLifecycle::instance().setProperties(std::move(properties));
}

std::shared_ptr<Framework> startFramework() {
    return FrameworkLifecycle::instance().start();
}

void stopFramework() {
    FrameworkLifecycle::instance().stop();
}

} // namespace agent::host::standalone
