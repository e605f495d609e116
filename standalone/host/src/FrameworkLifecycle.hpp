// The process's one framework: started once on demand, stopped, and started anew.
#ifndef AGENT_HOST_STANDALONE_FRAMEWORK_LIFECYCLE_HPP
#define AGENT_HOST_STANDALONE_FRAMEWORK_LIFECYCLE_HPP

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkFactory.h>

namespace agent::host::standalone {

// Thread safe. No lock is held while the framework starts, stops or runs the code of a bundle.
class FrameworkLifecycle {
public:
    // The process's instance. It is never destroyed, so that every thread can ask until the process is gone.
    static FrameworkLifecycle& instance();

    // The framework if it is running; starts the first one. Null once it is stopped or stopping.
    std::shared_ptr<cppmicroservices::Framework> get();

    // The running framework; starts a new one if there is none.
    std::shared_ptr<cppmicroservices::Framework> start();

    // Stops the framework and waits until it has stopped, for a start that is under way on another thread
    // before. Returns whether it has stopped by the deadline.
    using Deadline = std::optional<std::chrono::steady_clock::time_point>; // nothing: there is none
    bool stop(Deadline deadline = std::nullopt);

    // Properties of the framework that is started next.
    void setProperties(cppmicroservices::FrameworkConfiguration properties);

private:
    enum class State { NeverStarted, Starting, Running, Stopping, Stopped };
    using Lock = std::unique_lock<std::mutex>;

    bool waitWhileAnotherThreadStarts(Lock& lock, Deadline deadline = std::nullopt);
    std::shared_ptr<cppmicroservices::Framework> startWithLock(Lock& lock);
    std::shared_ptr<cppmicroservices::Framework> runningWithLock() const;
    void launch(std::shared_ptr<cppmicroservices::Framework> const& framework);
    bool stopAndRelease(std::shared_ptr<cppmicroservices::Framework> const& framework,
                        Deadline deadline = std::nullopt);
    void enterWithLock(State state, std::shared_ptr<cppmicroservices::Framework> framework);

    std::mutex mutex_; // guards the members below
    std::condition_variable startEnded_;
    State state_ = State::NeverStarted;
    std::thread::id startingThread_;                         // meaningful while Starting
    std::shared_ptr<cppmicroservices::Framework> framework_; // null unless Starting, Running or Stopping
    cppmicroservices::FrameworkConfiguration properties_;
};

// Has exit() stop the framework before it destroys any static object that exists now. Called again whenever
// bundles have been started, so that those which they made are still there when their deactivators run.
void stopFrameworkFirstAtExit();

} // namespace agent::host::standalone

#endif
